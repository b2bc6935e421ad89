// qmfs-demo [--rounds N | --control | --snapshot]: the demonstration, to be run in a testbed (demo/run does).
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "acts.h"

namespace {

constexpr int wrongUsage = 2;

void play(const std::string& option, int rounds) {
  if (option == "--rounds") return demo::playRounds(std::cout, rounds);
  if (option == "--control") return demo::playControl(std::cout);
  if (option == "--snapshot") return demo::playSnapshot(std::cout);
  std::cout << "1. A snapshot of three live file systems\n";
  demo::playSnapshot(std::cout);
  std::cout << "\n2. The same without freezing\n";
  demo::playControl(std::cout);
  std::cout << "\n3. A new file system, out of use and back\n";
  demo::playResource(std::cout);
  std::cout << "\nDone. Everything was as it must be.\n";
}

}  // namespace

int main(int argc, char** argv) {
  const std::string option = argc > 1 ? argv[1] : "";
  const int rounds = argc > 2 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 0;
  const bool valid = argc == 1 || ((option == "--control" || option == "--snapshot") && argc == 2) ||
                     (option == "--rounds" && rounds > 0);
  if (!valid) {
    std::cerr << "usage: qmfs-demo [--rounds N | --control | --snapshot]\n";
    return wrongUsage;
  }
  try {
    std::cout << std::unitbuf;
    play(option, rounds);
    return 0;
  } catch (const std::exception& error) {
    std::cout << std::flush;
    std::cerr << "qmfs-demo: " << error.what() << "\n";
    return 1;
  }
}
