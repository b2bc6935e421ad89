// JSON, a line each way.
#include "volume/command_program.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>

#include "failure/host_error.h"
#include "failure/one_line.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace {

constexpr std::string_view deviceDirectory = "/dev/";
constexpr std::size_t longestReason = 1000;

bool isTellable(unsigned char character) {
  constexpr std::string_view others = "/._+-";
  return std::isalnum(character) != 0 || others.find(static_cast<char>(character)) != std::string_view::npos;
}

HostError failureOf(const std::string& path, const std::string& verb, const std::string& reason) {
  return HostError(translate("the splitter program {0} failed to {1}: {2}", path, verb, reason))
      .about(path)
      .because(reason);
}

std::string reasonOf(int error) {
  if (error == ETIME) return translate("it did not answer in time");
  if (error == EPIPE) return translate("it ended without an answer");
  if (error == EMSGSIZE) return translate("its answer is too long");
  return systemError(translate("it could not be spoken to"), error).what();
}

}  // namespace

std::string copyNameOf(const SplitPlan& plan) {
  std::string name = plan.snapshotDevice.substr(deviceDirectory.size());
  std::replace(name.begin(), name.end(), '/', '-');
  return name;
}

void requireTellable(const SplitPlan& plan) {
  const std::string& device = plan.device;
  const bool isPlain = std::all_of(device.begin(), device.end(), isTellable);
  if (isPlain && device.starts_with(deviceDirectory)) return;
  throw HostError(
      translate("the volume \"{0}\" cannot be split by a program: its name must begin with /dev/ and hold letters, "
                "digits and \".\", \"_\", \"+\", \"-\" only; nothing was frozen",
                device));
}

std::string requestOf(const std::string& verb, const std::vector<SplitPlan>& plans) {
  Json volumes = Json::array();
  for (const SplitPlan& plan : plans) volumes.push_back({{"name", copyNameOf(plan)}, {"device", plan.device}});
  const Json request = {{"verb", verb}, {"volumes", std::move(volumes)}};
  return request.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n";
}

bool CommandProgram::isThere() const {
  return access(m_path.c_str(), X_OK) == 0;
}

void CommandProgram::requireUsable() const {
  if (!std::filesystem::path(m_path).is_absolute()) {
    throw HostError(translate("the splitter program {0} must be named by its absolute path", m_path));
  }
  requireTrusted(m_path);
  if (!isThere()) throw systemError(translate("the splitter program {0} cannot be run", m_path)).about(m_path);
}

Json CommandProgram::ask(const std::string& verb, const SplitPlan& plan, std::chrono::seconds time) const {
  requireUsable();
  const auto deadline = ProgramDialogue::Clock::now() + time;
  ProgramDialogue dialogue({m_path, verb}, ProgramDialogue::Errors::discarded);
  const int error = dialogue.ask(requestOf(verb, {plan}), answerEnd, deadline);
  dialogue.sendEnd();
  Json answer = answerIn(dialogue, verb, error);
  if (dialogue.endsWell(deadline)) return answer;
  throw failureOf(m_path, verb, translate("it said that all is done, and then did not end with status 0"));
}

Json CommandProgram::answerIn(const ProgramDialogue& dialogue, const std::string& verb, int error) const {
  if (error != 0) throw failureOf(m_path, verb, reasonOf(error));
  Json answer = Json::parse(dialogue.answer(), nullptr, false);
  if (!answer.is_object()) throw failureOf(m_path, verb, translate("its answer is no JSON object in one line"));
  const auto reason = answer.find("error");
  if (reason != answer.end()) {
    const std::string text = reason->is_string() ? reason->get<std::string>() : reason->dump();
    throw failureOf(m_path, verb, inOneLine(text.substr(0, longestReason)));
  }
  if (answer.value("ok", Json()) == true) return answer;
  throw failureOf(m_path, verb, translate("its answer has neither \"ok\": true nor \"error\""));
}

}  // namespace qmfi_host
