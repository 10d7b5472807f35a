#include "cli_options.h"

#include <cstring>

namespace qvncli {

namespace {

struct VerbShape {
  const char *verb;
  size_t operands;
};
// New verbs (such as a solve verb) are added here and in the tool's dispatch.
const VerbShape kVerbs[] = {{"convert", 2}, {"stats", 1}};

} // namespace

const char *usageText() {
  return "usage: quorvan [options] convert IN OUT   read IN and write it as OUT\n"
         "       quorvan [options] stats FILE       print sizes and ranges of a model\n"
         "       quorvan --help\n"
         "options:\n"
         "  --informat WORD    type of the input file (LP or MPS); by default its name\n"
         "                     or first bytes decide\n"
         "  --outformat WORD   type of the output file (LP, RLP, MPS, RMP); by default\n"
         "                     its name decides\n"
         "  -v, --verbose      print the readers' log lines\n"
         "Files ending in .gz or .bz2 are compressed and decompressed on the fly.\n";
}

CliOptions parseOptions(int argc, char **argv) {
  CliOptions o;
  for (int k = 1; k < argc; ++k) {
    const char *a = argv[k];
    if (!std::strcmp(a, "--help") || !std::strcmp(a, "-h")) {
      o.verb = "help";
      return o;
    }
    if (!std::strcmp(a, "-v") || !std::strcmp(a, "--verbose")) {
      o.verbose = true;
    } else if (!std::strcmp(a, "--informat") || !std::strcmp(a, "--outformat")) {
      if (k + 1 >= argc) {
        o.error = std::string("option ") + a + " needs a value";
        return o;
      }
      (a[2] == 'i' ? o.inputType : o.outputType) = argv[++k];
    } else if (a[0] == '-' && a[1] != '\0') {
      o.error = std::string("unknown option ") + a;
      return o;
    } else if (o.verb.empty()) {
      o.verb = a;
    } else {
      o.operands.push_back(a);
    }
  }
  if (o.verb.empty()) {
    o.error = "no command given";
    return o;
  }
  for (const VerbShape &v : kVerbs) {
    if (o.verb != v.verb) continue;
    if (o.operands.size() != v.operands)
      o.error = o.verb + " takes " + std::to_string(v.operands) + (v.operands == 1 ? " file" : " files");
    return o;
  }
  o.error = "unknown command " + o.verb;
  return o;
}

} // namespace qvncli
