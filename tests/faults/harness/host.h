// A host that drives the plug-in through a script of calls and keeps a transcript of what came of each.
#ifndef HOST_H
#define HOST_H

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "machine.h"
#include "provider.h"
#include "support/allocation_faults.h"

namespace faults {

// One call of the plug-in.
struct CallRecord {
  std::string entryPoint;
  int status = 0;                          // 0 for one without a result
  std::string outputs = {};                // what it handed out, as text
  std::vector<std::string> messages = {};  // what it pushed, newest first
  bool faultHappened = false;              // something had been made to fail when it ended
  bool tracedFailure = false;              // the log has a record of level 1; looked up only for a failed call
};

// Loads the plug-in when made; de-initialises its nodes, stops and unloads it when it goes. Everything is done whatever
// the calls return, as a host must that wants to leave nothing behind.
class Host {
 public:
  explicit Host(Machine& machine);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Starts the plug-in. False when it does not start.
  bool start();
  // De-initialises the nodes and stops the plug-in, once.
  void stop();

  // Makes a call in a faulty region and records it under a name. Returns its status.
  template <typename Body>
  int make(const char* entryPoint, Body&& body) {
    {
      const FaultyRegion region;
      m_status = body();
    }
    record(entryPoint);
    return m_status;
  }
  template <typename Body>
  void makeVoid(const char* entryPoint, Body&& body) {
    make(entryPoint, [&] {
      body();
      return 0;
    });
  }
  // Adds to the outputs of the last call.
  void output(const std::string& text) { m_transcript.back().outputs += text + ";"; }
  void output(const char* name, const qmfi_objid* object) {
    output(std::string(name) + "=" + (object != nullptr ? object->vid_name : "null"));
  }

  // A node of that name, zeroed but for its identifier and provider, and initialised when asked for. Nodes live until
  // the plug-in is stopped.
  kfi_domain& node(const std::string& name);
  kfi_domain& initialisedNode(const std::string& mountPoint);
  // The configuration domain of all nodes.
  kfi_domain& configuration();
  // Storage for a text, as long as the host lives. May be asked for within a call.
  char* text(std::string_view value);

  const std::vector<CallRecord>& transcript() const { return m_transcript; }

  Machine& machine;
  Provider provider;
  const ForeignFunctions& call;
  // Called when the plug-in has been started, if it is set.
  std::function<void()> whenStarted;
  // What the contract lets the calls leave behind.
  Machine::Leftovers mayStay;

 private:
  void record(const char* entryPoint);

  int m_status = 0;
  bool m_started = false;
  std::deque<kfi_domain> m_nodes;
  kfi_domain* m_configuration = nullptr;
  std::deque<std::string> m_texts;
  std::vector<CallRecord> m_transcript;
};

}  // namespace faults

#endif
