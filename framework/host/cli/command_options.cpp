// Declaring options to CLI11.
#include "cli/command_options.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "texts/translation.h"

namespace qmfi_host {

namespace {

std::string told(const std::string& help) {
  return translated(help.c_str());
}

}  // namespace

void CommandOptions::argument(const std::string& name, std::string& destination, const std::string& help) {
  m_app.add_option(name, destination, told(help))->required()->type_name("");
}

void CommandOptions::optionalArgument(const std::string& name, std::optional<std::string>& destination,
                                      const std::string& help) {
  m_app.add_option(name, destination, told(help))->type_name("");
}

void CommandOptions::arguments(const std::string& name, std::vector<std::string>& destination,
                               const std::string& help) {
  m_app.add_option(name, destination, told(help))->required()->type_name("");
}

void CommandOptions::optionalArguments(const std::string& name, std::vector<std::string>& destination,
                                       const std::string& help) {
  m_app.add_option(name, destination, told(help))->type_name("");
}

void CommandOptions::flag(const std::string& names, bool& destination, const std::string& help) {
  m_app.add_flag(names, destination, told(help));
}

void CommandOptions::flag(const std::string& names, std::optional<bool>& destination, const std::string& help) {
  const std::string text = told(help);
  // A flag of the parser's that is optional would be set by its declaration already.
  m_app.add_flag(names, text)->check([&destination](const std::string& value) -> std::string {
    try {
      destination = CLI::detail::to_flag_value(value) > 0;
      return {};
    } catch (const std::logic_error&) {
      return translate("\"{0}\" is neither true nor false", value);
    }
  });
}

void CommandOptions::text(const std::string& names, std::optional<std::string>& destination,
                          const std::string& placeholder, const std::string& help) {
  m_app.add_option(names, destination, told(help))->type_name(placeholder);
}

void CommandOptions::texts(const std::string& names, std::vector<std::string>& destination,
                           const std::string& placeholder, const std::string& help) {
  m_app.add_option(names, destination, told(help))->allow_extra_args(false)->type_name(placeholder);
}

void CommandOptions::number(const std::string& names, std::optional<int>& destination, int smallest, int largest,
                            const std::string& placeholder, const std::string& help) {
  m_app.add_option(names, destination, told(help))->check(CLI::Range(smallest, largest))->type_name(placeholder);
}

void CommandOptions::examples(const std::vector<std::string>& lines) {
  std::string footer = translate("Examples:");
  for (const std::string& line : lines) footer += "\n  " + line;
  m_app.footer(footer);
}

}  // namespace qmfi_host
