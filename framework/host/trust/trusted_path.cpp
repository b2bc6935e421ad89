// Walking a path component by component, on descriptors.
#include "trust/trusted_path.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <deque>
#include <string>
#include <utility>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;

namespace {

// As the kernel has it.
constexpr int mostLinks = 40;

// A walk along one path. Each directory is trusted before a name is looked up in it, so nobody else can change what the
// name stands for.
class Walk {
 public:
  // mayEndAnywhere: what it leads to need not be root's itself.
  explicit Walk(const fs::path& path, bool mayEndAnywhere = false) : m_asked(path), m_mayEndAnywhere(mayEndAnywhere) {
    add(fs::absolute(path));
  }

  void run() {
    while (!m_ahead.empty()) {
      const std::string name = m_ahead.front();
      m_ahead.pop_front();
      if (!enter(name)) return;
    }
  }

 private:
  // What is still to be walked begins with this path.
  void add(const fs::path& path) {
    for (auto component = path.end(); component != path.begin();) m_ahead.push_front((--component)->string());
  }

  // False where there is nothing of that name.
  bool enter(const std::string& name) {
    if (name.empty() || name == ".") return true;
    const fs::path named = name == ".." ? m_named.parent_path() : m_named / name;
    Descriptor next(openat(m_here.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!next.valid() && errno == ENOENT) return false;
    struct stat status {};
    if (!next.valid() || fstat(next.get(), &status) != 0) {
      throw systemError(translate("{0} cannot be read", named.string())).about(named.string());
    }
    if (S_ISLNK(status.st_mode)) {
      follow(next, named);
      return true;
    }
    if (!m_ahead.empty() || !m_mayEndAnywhere) requireRoots(status, named);
    m_here = std::move(next);
    m_named = named;
    return true;
  }

  // A link cannot be written to, and the directory that it lies in is trusted.
  void follow(const Descriptor& link, const fs::path& named) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlinkat(link.get(), "", target.data(), target.size());
    if (length < 0) throw systemError(translate("{0} cannot be read", named.string())).about(named.string());
    if (++m_links > mostLinks) {
      throw systemError(translate("{0} cannot be read", m_asked.string()), ELOOP).about(m_asked.string());
    }
    add(fs::path(std::string(target.data(), static_cast<std::size_t>(length))));
  }

  void requireRoots(const struct stat& status, const fs::path& named) const {
    const auto fail = [&](const std::string& reason) {
      throw HostError(
          Failure::untrusted,
          translate("{0} cannot be trusted: {1}; use a place that belongs to root and that nobody else can write to",
                    m_asked.string(), reason))
          .about(m_asked.string())
          .because(reason);
    };
    if (status.st_uid != 0) fail(translate("{0} belongs to user {1}", named.string(), status.st_uid));
    if ((status.st_mode & S_IWOTH) != 0) fail(translate("everybody can write to {0}", named.string()));
    if ((status.st_mode & S_IWGRP) != 0) fail(translate("group {0} can write to {1}", status.st_gid, named.string()));
  }

  fs::path m_asked;
  bool m_mayEndAnywhere;
  std::deque<std::string> m_ahead;
  Descriptor m_here;  // the last directory that was entered
  fs::path m_named;   // its name, without links
  int m_links = 0;
};

}  // namespace

void requireTrusted(const fs::path& path) {
  Walk(path).run();
}

void requireTrustedUpTo(const fs::path& path) {
  fs::path named = fs::absolute(path);
  while (named.has_relative_path() && (named.filename().empty() || named.filename() == ".")) {
    named = named.parent_path();
  }
  Walk(named, true).run();
}

}  // namespace qmfi_host
