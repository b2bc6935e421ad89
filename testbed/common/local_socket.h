// Short messages, with a descriptor if wanted, between processes that share a socket pair.
#ifndef LOCAL_SOCKET_H
#define LOCAL_SOCKET_H

#include <cstddef>
#include <optional>
#include <utility>

#include "system/descriptor.h"

namespace testbed {

// A connected pair of sockets that keep message borders, closed on exec. Throws std::system_error.
std::pair<qmfi_system::Descriptor, qmfi_system::Descriptor> makeSocketPair();

// Sends one message and, unless `passed` is -1, a copy of that descriptor. False when nobody is there to read it.
bool sendMessage(int socket, const void* bytes, std::size_t length, int passed = -1);

// Waits for one message of exactly `length` bytes. `passed`: receives the descriptor that came with it, if any.
// False at the end of the connection or for a message of another length.
bool receiveMessage(int socket, void* bytes, std::size_t length, qmfi_system::Descriptor* passed = nullptr);

}  // namespace testbed

#endif
