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

// Declares options to the reader of the command line. Every destination must live until the command line has been read,
// and is untouched by what the user leaves out. Names ("-n,--name") are written as CLI11 reads them; help says what
// the option does, as a text for translated() or in the user's language already, placeholder stands for its value
// there.
class CommandOptions {
 public:
  // app: the sub-command that the options are declared to; it must outlive this object.
  explicit CommandOptions(CLI::App& app) : m_app(app) {}

  // An argument that must be given.
  void argument(const std::string& name, std::string& destination, const std::string& help);
  // An argument that may be left out.
  void optionalArgument(const std::string& name, std::optional<std::string>& destination, const std::string& help);
  // One argument or more.
  void arguments(const std::string& name, std::vector<std::string>& destination, const std::string& help);
  // Any number of arguments, none among them.
  void optionalArguments(const std::string& name, std::vector<std::string>& destination, const std::string& help);
  // An option without a value, which sets the destination.
  void flag(const std::string& names, bool& destination, const std::string& help);
  // The same where something else may have set it already: "--name=false" takes that back.
  void flag(const std::string& names, std::optional<bool>& destination, const std::string& help);
  // An option with any text as its value.
  void text(const std::string& names, std::optional<std::string>& destination, const std::string& placeholder,
            const std::string& help);
  // The same for an option that may be given several times, which all are kept in their order.
  void texts(const std::string& names, std::vector<std::string>& destination, const std::string& placeholder,
             const std::string& help);
  // An option with a number from smallest to largest as its value; any other is a usage error.
  void number(const std::string& names, std::optional<int>& destination, int smallest, int largest,
              const std::string& placeholder, const std::string& help);

  // What the help ends with: whole command lines, one each.
  void examples(const std::vector<std::string>& lines);

 private:
  CLI::App& m_app;
};

}  // namespace qmfi_host

#endif
