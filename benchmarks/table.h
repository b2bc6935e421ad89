// The results as a table of text.
#pragma once

#include <string>
#include <vector>

#include "result.h"

namespace bench {

// A time or size in few digits, with its unit.
std::string quantity(double value, const std::string& unit);

void printTable(const std::vector<Result>& results);

}  // namespace bench
