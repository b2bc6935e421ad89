// An environment variable that is set, or unset, for one test.
#ifndef SCOPED_ENVIRONMENT_H
#define SCOPED_ENVIRONMENT_H

#include <cstdlib>
#include <optional>
#include <string>

class ScopedEnvironment {
 public:
  // A null value unsets the variable.
  ScopedEnvironment(std::string name, const char* value) : m_name(std::move(name)) {
    if (const char* const before = std::getenv(m_name.c_str())) m_before = before;
    set(value);
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
  ~ScopedEnvironment() { set(m_before ? m_before->c_str() : nullptr); }

 private:
  void set(const char* value) const {
    if (value != nullptr) {
      setenv(m_name.c_str(), value, 1);
    } else {
      unsetenv(m_name.c_str());
    }
  }

  std::string m_name;
  std::optional<std::string> m_before;
};

#endif
