// Private data and sessions among many names, beside a map of the same names.
#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "cfiprivatedatafactory.h"
#include "cfisession.h"
#include "in_process.h"
#include "qmfs_private_data.h"
#include "silent_log.h"

namespace {

using namespace qmfi_pdk_4_4;

using Factory = CFiPrivateDataConcreteFactory<CQmFSPrivateData>;
// Holds what ours holds, and hands out what ours hands out: a reference that is counted under the object's lock.
using PlainMap = std::map<std::string, CFiPrivateDataSPtr>;
using PlainSessions = std::map<std::string, CFiSessionSPtr>;
// The objects themselves, handed out without a count.
using BareMap = std::map<std::string, std::unique_ptr<CQmFSPrivateData>>;

// Names and domains, in an order that is not the map's.
class Names {
 public:
  explicit Names(int count) {
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(count));
    for (const int number : numbers) {
      const std::string& name = m_names.emplace_back("/srv/data/volume-" + std::to_string(number));
      m_portableNames.emplace_back(name.c_str());
      m_objects.push_back({const_cast<char*>(name.c_str()), static_cast<std::uint32_t>(name.size()), 1});
      m_domains.emplace_back().fid_objid = &m_objects.back();
    }
  }

  std::size_t size() const { return m_names.size(); }
  const std::string& name(std::size_t i) const { return m_names[i]; }
  const ACE_String_Base<char>& portableName(std::size_t i) const { return m_portableNames[i]; }
  kfi_domain* domain(std::size_t i) { return &m_domains[i]; }
  qmfi_objid* object(std::size_t i) { return &m_objects[i]; }

 private:
  std::deque<std::string> m_names;
  std::deque<ACE_String_Base<char>> m_portableNames;
  std::deque<qmfi_objid> m_objects;
  std::deque<kfi_domain> m_domains;
};

// What all sides hold: all names but the last ones, which come and go.
struct Held {
  explicit Held(int count) : kept(static_cast<std::size_t>(count)), comeAndGo(kept / 10), names(count + count / 10) {
    factory->registerTraceLog(log);
    for (std::size_t i = 0; i < kept; ++i) {
      allocate(i);
      insert(i);
      insertBare(i);
    }
  }
  ~Held() {
    for (std::size_t i = 0; i < kept; ++i) factory->deallocate(names.domain(i));
  }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

  void allocate(std::size_t i) { factory->allocate(names.domain(i), false); }
  void deallocate(std::size_t i) { factory->deallocate(names.domain(i)); }

  CFiPrivateDataSPtr make(std::size_t i) {
    CFiPrivateDataSPtr made(new CQmFSPrivateData(names.object(i), false));
    made->registerTraceLog(log);
    return made;
  }

  void insert(std::size_t i) {
    const CFiPrivateDataSPtr made = make(i);
    map.emplace(names.name(i), made);
  }
  void erase(std::size_t i) { map.erase(names.name(i)); }

  // With a reference of its own for the domain, as a domain that is attached has.
  void insertAttached(std::size_t i) {
    const CFiPrivateDataSPtr made = make(i);
    map.emplace(names.name(i), made);
    attached[i - kept] = std::make_unique<CFiPrivateDataSPtr>(made);
  }
  void eraseAttached(std::size_t i) {
    attached[i - kept].reset();
    erase(i);
  }

  void insertBare(std::size_t i) {
    auto made = std::make_unique<CQmFSPrivateData>(names.object(i), false);
    made->registerTraceLog(log);
    bareMap.emplace(names.name(i), std::move(made));
  }

  std::size_t kept;
  std::size_t comeAndGo;
  Names names;
  CFiTraceLogSPtr log = bench::silentLog();
  CFiPrivateDataFactorySPtr factory{new Factory()};
  PlainMap map;
  std::vector<std::unique_ptr<CFiPrivateDataSPtr>> attached{comeAndGo};
  BareMap bareMap;
};

using Step = void (Held::*)(std::size_t);

// Times one step for each of the names that come and go, and undoes it untimed, or the other way round.
enum class Timed { doing, undoing };
bench::Work comingAndGoing(Held& held, Step step, Step undo, Timed timed) {
  return [&held, step, undo, timed](benchmark::State& state) {
    const auto forAll = [&held](Step each) {
      for (std::size_t i = 0; i < held.comeAndGo; ++i) (held.*each)(held.kept + i);
    };
    while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(held.comeAndGo))) {
      if (timed == Timed::undoing) state.PauseTiming();
      forAll(step);
      timed == Timed::undoing ? state.ResumeTiming() : state.PauseTiming();
      forAll(undo);
      if (timed == Timed::doing) state.ResumeTiming();
    }
  };
}

void compareComingAndGoing(Held& held, const std::string& what, Timed timed) {
  bench::compare("9", what, comingAndGoing(held, &Held::allocate, &Held::deallocate, timed),
                 {{"std::map", comingAndGoing(held, &Held::insert, &Held::erase, timed), 1.2},
                  {"std::map, attached", comingAndGoing(held, &Held::insertAttached, &Held::eraseAttached, timed)}});
}

// Runs over what is kept again and again; touch is given each index.
template <typename Touch>
bench::Work touching(std::size_t kept, const Touch& touch) {
  return [=](benchmark::State& state) {
    std::size_t i = 0;
    for (auto round : state) {
      touch(i);
      i = i + 1 == kept ? 0 : i + 1;
    }
  };
}

void comparePrivateData(Held& held, const std::string& many) {
  const auto access = touching(held.kept, [&held](std::size_t i) {
    benchmark::DoNotOptimize(held.factory->access(held.names.domain(i)).get());
  });
  const auto byName = touching(held.kept, [&held](std::size_t i) {
    benchmark::DoNotOptimize(held.factory->accessByName(held.names.portableName(i), false).get());
  });
  const auto inMap = touching(held.kept, [&held](std::size_t i) {
    const CFiPrivateDataSPtr found = held.map.find(held.names.name(i))->second;
    benchmark::DoNotOptimize(found.get());
  });
  const auto inBareMap = touching(held.kept, [&held](std::size_t i) {
    benchmark::DoNotOptimize(held.bareMap.find(held.names.name(i))->second.get());
  });
  compareComingAndGoing(held, "private data allocated, " + many, Timed::doing);
  bench::compare("9", "private data accessed, " + many, access, {{"std::map", inMap, 1.2}});
  bench::compare("9", "private data by name, " + many, byName,
                 {{"std::map", inMap, 1.2}, {"std::map, uncounted", inBareMap}}, {.noise = true});
  compareComingAndGoing(held, "private data deallocated, " + many, Timed::undoing);
}

struct HeldSessions {
  explicit HeldSessions(const Names& names) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      manager->getSession(names.name(i).c_str());
      map.emplace(names.name(i), new CFiSession(names.name(i)));
    }
  }

  CFiSessionManagerSPtr manager{true};
  PlainSessions map;
};

void compareSessions(Names& names, HeldSessions& held, const std::string& many) {
  const auto found = touching(names.size(), [&](std::size_t i) {
    benchmark::DoNotOptimize(held.manager->getSession(names.name(i).c_str()).get());
  });
  const auto inMap = touching(names.size(), [&](std::size_t i) {
    const CFiSessionSPtr session = held.map.find(names.name(i))->second;
    benchmark::DoNotOptimize(session.get());
  });
  bench::compare("9", "session found, " + many, found, {{"std::map", inMap, 1.2}});
}

// A manager never gives a session back, so that each repetition fills a new one.
void compareMakingOfSessions(Names& names, const std::string& many) {
  const auto made = [&](benchmark::State& state) {
    for (auto round : state) {
      const CFiSessionManagerSPtr manager(true);
      for (std::size_t i = 0; i < names.size(); ++i) manager->getSession(names.name(i).c_str());
    }
  };
  const auto madeInMap = [&](benchmark::State& state) {
    for (auto round : state) {
      PlainSessions map;
      for (std::size_t i = 0; i < names.size(); ++i) {
        const CFiSessionSPtr session(new CFiSession(names.name(i)));
        map.emplace(names.name(i), session);
      }
    }
  };
  bench::compare("9", "sessions made and freed, " + many, made, {{"std::map", madeInMap, 1.2}});
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) return 2;
  const int many = std::stoi(words[2]);
  const std::string text = std::to_string(many) + " names";
  Held held(many);
  comparePrivateData(held, text);
  HeldSessions sessions(held.names);
  compareSessions(held.names, sessions, text);
  compareMakingOfSessions(held.names, text);
  return bench::runComparisons(2, words);
}
