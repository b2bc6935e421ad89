// Sets an environment variable for a scope.
#ifndef SUPPORT_ENVIRONMENT_H
#define SUPPORT_ENVIRONMENT_H

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

// No other thread may use the environment while one of these is made or destroyed.
class EnvironmentVariable {
 public:
  // Without a value the variable is taken out.
  EnvironmentVariable(std::string name, const std::optional<std::string>& value) : m_name(std::move(name)) {
    if (const char* const former = std::getenv(m_name.c_str())) m_former = former;
    set(value);
  }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
  ~EnvironmentVariable() { set(m_former); }

 private:
  void set(const std::optional<std::string>& value) const {
    if (value) {
      setenv(m_name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(m_name.c_str());
    }
  }

  std::string m_name;
  std::optional<std::string> m_former;
};

#endif
