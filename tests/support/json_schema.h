// Whether JSON is what its schema says.
#ifndef SUPPORT_JSON_SCHEMA_H
#define SUPPORT_JSON_SCHEMA_H

#include <string>
#include <vector>

namespace testbed_test {

// The names of all schemas of share/qmfi/schema: those of commands are their words with "-" between them.
std::vector<std::string> schemaNames();

// What a document has against a schema, in lines; empty when it is what the schema says.
std::string schemaErrors(const std::string& schema, const std::string& document);

// What a run of qmfi with --json printed to both its outputs.
struct JsonOutput {
  std::string document;            // all of the standard output
  std::vector<std::string> lines;  // of the standard error output
};

// The parts of an output: a document has its brackets on lines of their own, an object of the errors is one line.
JsonOutput jsonOutputOf(const std::string& output);

// What an output of qmfi with --json has against what is promised of it, in lines; empty when it keeps all. words:
// those of the command line. status: of the program's end.
std::string brokenPromises(const std::vector<std::string>& words, int status, const std::string& output);

}  // namespace testbed_test

#endif
