// qmfi explain [ID]
#include <nlohmann/json.hpp>

#include "cli/command_table.h"
#include "failure/failure_kind.h"
#include "failure/host_error.h"
#include "failure/json_text.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

void printText(std::ostream& out, const FailureKind& kind) {
  const int status = static_cast<int>(kind.exitStatus);
  out << translate("{0} (exit status {1}): {2}", kind.id, status, translated(kind.meaning)) << "\n";
  if (kind.advice != nullptr) out << "  " << translated(kind.advice) << "\n";
}

Json jsonOfKind(const FailureKind& kind) {
  return {{"id", kind.id},
          {"exit_status", static_cast<int>(kind.exitStatus)},
          {"meaning", translated(kind.meaning)},
          {"hint", kind.advice != nullptr ? Json(translated(kind.advice)) : Json()}};
}

// By what the failures of --json and the status that a script sees are called.
class Explain : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.optionalArgument("ID", m_id, translatable("Id of a failure, or an exit status (default: all failures)"));
  }

  bool needsRoot() const override { return false; }
  WrongSettings wrongSettings() const override { return WrongSettings::leave; }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    Json array = Json::array();
    for (const FailureKind& kind : failureKinds()) {
      if (isMeant(kind)) array.push_back(jsonOfKind(kind));
      if (isMeant(kind) && !settings.json) printText(out, kind);
    }
    if (array.empty()) {
      throw HostError(ExitStatus::notFound, translate("there is no failure \"{0}\"", *m_id))
          .about(*m_id)
          .advise(translate("\"qmfi explain\" lists all"));
    }
    if (settings.json) out << jsonDocument(array);
    return ExitStatus::done;
  }

 private:
  bool isMeant(const FailureKind& kind) const {
    return !m_id || *m_id == kind.id || *m_id == std::to_string(static_cast<int>(kind.exitStatus));
  }

  std::optional<std::string> m_id;
};

}  // namespace

std::unique_ptr<Command> makeExplain() {
  return std::make_unique<Explain>();
}

}  // namespace qmfi_host
