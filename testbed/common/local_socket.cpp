// Short messages, with a descriptor if wanted, between processes that share a socket pair.
#include "common/local_socket.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "system/checked.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;

namespace {

// A message header around the bytes, with room for one descriptor.
struct Envelope {
  Envelope(void* bytes, std::size_t length) : part{bytes, length} {
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
  }

  iovec part;
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
  msghdr header{};
};

}  // namespace

std::pair<Descriptor, Descriptor> makeSocketPair() {
  int ends[2];
  checked(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), "socketpair");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

bool sendMessage(int socket, const void* bytes, std::size_t length, int passed) {
  Envelope envelope(const_cast<void*>(bytes), length);
  if (passed >= 0) {
    cmsghdr* control = CMSG_FIRSTHDR(&envelope.header);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(sizeof passed);
    std::memcpy(CMSG_DATA(control), &passed, sizeof passed);
  } else {
    envelope.header.msg_controllen = 0;
  }
  ssize_t sent;
  do {
    sent = sendmsg(socket, &envelope.header, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(length);
}

bool receiveMessage(int socket, void* bytes, std::size_t length, Descriptor* passed) {
  Envelope envelope(bytes, length);
  ssize_t received;
  do {
    received = recvmsg(socket, &envelope.header, MSG_CMSG_CLOEXEC);
  } while (received < 0 && errno == EINTR);
  if (received < 0) return false;
  const cmsghdr* control = CMSG_FIRSTHDR(&envelope.header);
  if (control != nullptr && control->cmsg_level == SOL_SOCKET && control->cmsg_type == SCM_RIGHTS) {
    int descriptor;
    std::memcpy(&descriptor, CMSG_DATA(control), sizeof descriptor);
    Descriptor owned(descriptor);
    if (passed != nullptr) *passed = std::move(owned);
  }
  return received == static_cast<ssize_t>(length);
}

}  // namespace testbed
