// The options of a sub-command, as it declares them.
#ifndef COMMAND_OPTIONS_H
#define COMMAND_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace qmfi_host {

// Every destination must live until the command line has been read. Names are written as CLI11 reads them.
class CommandOptions {
 public:
  explicit CommandOptions(CLI::App& app) : m_app(app) {}

  // An argument that must be given.
  void argument(const std::string& name, std::string& destination, const std::string& help);
  // An argument that may be left out.
  void optionalArgument(const std::string& name, std::optional<std::string>& destination, const std::string& help);
  // One argument or more.
  void arguments(const std::string& name, std::vector<std::string>& destination, const std::string& help);
  void flag(const std::string& names, bool& destination, const std::string& help);
  void text(const std::string& names, std::optional<std::string>& destination, const std::string& placeholder,
            const std::string& help);
  // A number from smallest to largest.
  void number(const std::string& names, std::optional<int>& destination, int smallest, int largest,
              const std::string& placeholder, const std::string& help);

 private:
  CLI::App& m_app;
};

}  // namespace qmfi_host

#endif
