// The results as a table, for column.
#ifndef TABLE_H
#define TABLE_H

#include <string>
#include <vector>

#include "result.h"

namespace bench {

// A time or size in few digits, with its unit.
std::string quantity(double value, const std::string& unit);

// A line for each result, its cells with a tab behind each.
void printTable(const std::vector<Result>& results);

}  // namespace bench

#endif
