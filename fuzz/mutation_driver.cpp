// A deterministic mutation driver for the reader targets, for compilers without
// libFuzzer: it feeds LLVMFuzzerTestOneInput (reader_fuzz.cpp) with mutants of
// a seed corpus for a fixed time, so that the sanitizer build runs every reader
// on damaged input in each CI run.
//
//   mutation_driver --seconds 20 --seed 1 <example files...>
//
// The seeds are the example models and their conversions by the library's own
// writers (LP, MPS, parameter files, and gzip or bzip2 forms for the targets
// that read compressed bytes). Inputs that a reader accepts join the pool, so
// later mutants reach deeper into the grammar. A crash dumps the input to
// "fuzz-crash-<format>.bin" in the working directory.
#include <bzlib.h>
#include <signal.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#if __has_include(<sanitizer/common_interface_defs.h>)
#include <sanitizer/common_interface_defs.h>
#define QVN_HAVE_SANITIZER_HOOKS 1
#endif

#include "quorvan.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
// Set by the target: the last input was accepted by its reader.
extern bool qvnFuzzAccepted;

namespace {

using Bytes = std::vector<uint8_t>;

const char *const kFormat = QVN_FUZZ_FORMAT;
Bytes current;  // the input being run, for the crash dump

void dumpCurrent() {
  const std::string name = std::string("fuzz-crash-") + kFormat + ".bin";
  if (FILE *f = std::fopen(name.c_str(), "wb")) {
    std::fwrite(current.data(), 1, current.size(), f);
    std::fclose(f);
    std::fprintf(stderr, "mutation driver: input written to %s\n", name.c_str());
  }
}

void onSignal(int sig) {
  dumpCurrent();
  signal(sig, SIG_DFL);
  raise(sig);
}

struct Random {
  uint64_t s;
  uint64_t next() {
    s ^= s << 13, s ^= s >> 7, s ^= s << 17;
    return s;
  }
  size_t below(size_t n) { return n ? static_cast<size_t>(next() % n) : 0; }
};

// Texts that the readers treat specially, and numbers at their limits.
const char *const kTokens[] = {
    "1e400", "-1e400", "1e-400", "1e+37", "1e38", "nan", "NaN", "inf", "-inf", "infinity",
    "-infinity", "1e20", "-1e20", "1e19", "9999999999999999999999", "0x10", "1.5.5", "1e", "e5",
    "-", "+", "--", "+-", "<=", ">=", "=<", "=>", "=", "<", ">", ":", "::", "->", "[", "]", "^",
    "^2", "/", "/ 2", "*", "\\", "\\*", "*\\", "\n", "\r\n", "\t", " ", "$", "'", "\"",
    "Minimize", "Maximize", "Subject To", "st", "Bounds", "General", "Generals", "Binary",
    "Binaries", "Semi-continuous", "SOS", "S1::", "S2::", "End", "free", "Free", "-free",
    "Lazy Constraints", "User Cuts", "ind:", "NAME", "ROWS", "COLUMNS", "RHS", "RANGES",
    "BOUNDS", "SOS", "ENDATA", "OBJSENSE", "OBJSENSE MAX", "OBJNAME", "QMATRIX", "QUADOBJ",
    "INDICATORS", " N ", " L ", " G ", " E ", " UP ", " LO ", " FX ", " FR ", " MI ", " PL ",
    " BV ", " LI ", " UI ", " SC ", " S1 ", "'MARKER'", "'INTORG'", "'INTEND'", "MARKER",
    "QUORVAN Parameter File Version 10.2.0", "QUORVAN Parameter File Version 1.0",
    "QVN_PARAM_ITLIM", "1020", "1035", "2100000000", "-2100000000", "4294967296", "\"",
};

void mutateOnce(Bytes &b, const std::vector<Bytes> &pool, Random &rng) {
  const size_t n = b.size();
  switch (rng.below(9)) {
  case 0:  // flip one bit
    if (n) b[rng.below(n)] ^= static_cast<uint8_t>(1u << rng.below(8));
    break;
  case 1: {  // a byte the grammar cares about
    static const char special[] = "\n\r\t -+.eE:*\\\"'[]^/<>=0129";
    if (n) b[rng.below(n)] = static_cast<uint8_t>(special[rng.below(sizeof special - 1)]);
    break;
  }
  case 2: {  // delete a run
    if (!n) break;
    const size_t at = rng.below(n), len = 1 + rng.below(std::min<size_t>(32, n - at));
    b.erase(b.begin() + static_cast<long>(at), b.begin() + static_cast<long>(at + len));
    break;
  }
  case 3: {  // duplicate a run elsewhere
    if (!n) break;
    const size_t from = rng.below(n), len = 1 + rng.below(std::min<size_t>(64, n - from));
    const Bytes run(b.begin() + static_cast<long>(from), b.begin() + static_cast<long>(from + len));
    b.insert(b.begin() + static_cast<long>(rng.below(n + 1)), run.begin(), run.end());
    break;
  }
  case 4:
  case 5: {  // a token
    const char *t = kTokens[rng.below(sizeof kTokens / sizeof kTokens[0])];
    b.insert(b.begin() + static_cast<long>(rng.below(n + 1)), t, t + std::strlen(t));
    break;
  }
  case 6: {  // a piece of another input
    const Bytes &other = pool[rng.below(pool.size())];
    if (other.empty()) break;
    const size_t from = rng.below(other.size());
    const size_t len = 1 + rng.below(std::min<size_t>(256, other.size() - from));
    b.insert(b.begin() + static_cast<long>(rng.below(n + 1)), other.begin() + static_cast<long>(from),
             other.begin() + static_cast<long>(from + len));
    break;
  }
  case 7:  // cut the end off
    if (n) b.resize(rng.below(n));
    break;
  default: {  // a very long name or line
    const Bytes run(200 + rng.below(700), static_cast<uint8_t>("xX_9 \t"[rng.below(6)]));
    b.insert(b.begin() + static_cast<long>(rng.below(n + 1)), run.begin(), run.end());
    break;
  }
  }
}

bool readFile(const char *path, Bytes &out) {
  FILE *f = std::fopen(path, "rb");
  if (!f) return false;
  out.clear();
  uint8_t buffer[4096];
  for (size_t got; (got = std::fread(buffer, 1, sizeof buffer, f)) > 0;) out.insert(out.end(), buffer, buffer + got);
  std::fclose(f);
  return true;
}

bool endsWith(const std::string &s, const char *suffix) {
  const size_t m = std::strlen(suffix);
  return s.size() >= m && s.compare(s.size() - m, m, suffix) == 0;
}

Bytes gzipBytes(const Bytes &text) {
  z_stream z{};
  Bytes out(compressBound(static_cast<uLong>(text.size())) + 64);
  if (deflateInit2(&z, 6, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY) != Z_OK) return {};
  z.next_in = const_cast<Bytef *>(text.data());
  z.avail_in = static_cast<uInt>(text.size());
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  const int r = deflate(&z, Z_FINISH);
  out.resize(z.total_out);
  deflateEnd(&z);
  return r == Z_STREAM_END ? out : Bytes{};
}

Bytes bzip2Bytes(const Bytes &text) {
  unsigned size = static_cast<unsigned>(text.size() + text.size() / 100 + 700);
  Bytes out(size);
  if (BZ2_bzBuffToBuffCompress(reinterpret_cast<char *>(out.data()), &size,
                               const_cast<char *>(reinterpret_cast<const char *>(text.data())),
                               static_cast<unsigned>(text.size()), 9, 0, 0) != BZ_OK)
    return {};
  out.resize(size);
  return out;
}

// The seed texts of this target: each example model as it is and as the
// library writes it in the target's format; for the parameter reader, the
// files that the library writes for a few settings; for the side files, the
// example order, SOS and MIP start files.
std::vector<Bytes> seedTexts(int argc, char **argv, int first, const std::string &kind) {
  std::vector<Bytes> seeds;
  int status = 0;
  QVNENVptr env = QVNopenQUORVAN(&status);
  if (!env) return seeds;
  const std::string scratch = "/tmp/qvn_seed_" + std::to_string(getpid());
  if (kind == "PRM") {
    Bytes b;
    if (QVNwriteparam(env, (scratch + ".prm").c_str()) == 0 && readFile((scratch + ".prm").c_str(), b))
      seeds.push_back(b);
    QVNsetintparam(env, QVN_PARAM_ITLIM, 77);
    QVNsetdblparam(env, QVN_PARAM_EPOPT, 1e-7);
    QVNsetstrparam(env, QVN_PARAM_WORKDIR, "/tmp/some dir");
    if (QVNwriteparam(env, (scratch + ".prm").c_str()) == 0 && readFile((scratch + ".prm").c_str(), b))
      seeds.push_back(b);
  }
  for (int k = first; k < argc; ++k) {
    const std::string path = argv[k];
    Bytes b;
    if (kind == "PRM" || kind == "SIDE") {
      const bool mine = kind == "PRM" ? endsWith(path, ".prm")
                                      : endsWith(path, ".ord") || endsWith(path, ".sos") || endsWith(path, ".mst");
      if (mine && readFile(path.c_str(), b)) seeds.push_back(b);
      continue;
    }
    if ((kind == "LP" && endsWith(path, ".lp")) || (kind == "MPS" && endsWith(path, ".mps")))
      if (readFile(path.c_str(), b)) seeds.push_back(b);
    QVNLPptr lp = QVNcreateprob(env, &status, "seed");
    if (lp && QVNreadcopyprob(env, lp, path.c_str(), nullptr) == 0) {
      const char *const words[] = {kind == "LP" ? "LP" : "MPS", kind == "LP" ? "RLP" : "RMP"};
      for (const char *word : words) {
        const std::string out = scratch + "." + (kind == "LP" ? "lp" : "mps");
        if (QVNwriteprob(env, lp, out.c_str(), word) == 0 && readFile(out.c_str(), b)) seeds.push_back(b);
        std::remove(out.c_str());
      }
    }
    if (lp) QVNfreeprob(env, &lp);
  }
  std::remove((scratch + ".prm").c_str());
  QVNcloseQUORVAN(&env);
  return seeds;
}

} // namespace

int main(int argc, char **argv) {
  double seconds = 20;
  uint64_t seed = 1;
  int first = 1;
  for (; first + 1 < argc; first += 2) {
    if (!std::strcmp(argv[first], "--seconds"))
      seconds = std::atof(argv[first + 1]);
    else if (!std::strcmp(argv[first], "--seed"))
      seed = std::strtoull(argv[first + 1], nullptr, 10);
    else
      break;
  }
  // "LP", "MPS", "PRM", or a text kind with its compression: "LP.GZ", "MPS.BZ2".
  const std::string format = kFormat;
  const std::string kind = format.substr(0, format.find('.'));
  const bool gzip = endsWith(format, ".GZ"), bzip2 = endsWith(format, ".BZ2");

  std::vector<Bytes> pool = seedTexts(argc, argv, first, kind);
  if (pool.empty()) {
    std::fprintf(stderr, "mutation driver %s: no seeds\n", kFormat);
    return 1;
  }
  if (gzip || bzip2)
    for (Bytes &b : pool) b = gzip ? gzipBytes(b) : bzip2Bytes(b);
  const size_t seeds = pool.size();
  constexpr size_t kPoolCap = 400;

#ifdef QVN_HAVE_SANITIZER_HOOKS
  __sanitizer_set_death_callback(dumpCurrent);
#endif
  for (int sig : {SIGSEGV, SIGILL, SIGABRT, SIGFPE, SIGBUS}) signal(sig, onSignal);

  Random rng{seed * 0x9E3779B97F4A7C15ull + 1};
  const auto start = std::chrono::steady_clock::now();
  long runs = 0, accepted = 0;
  // Every seed once as it is, then mutants until the time is up.
  for (size_t k = 0; k < seeds; ++k, ++runs) {
    current = pool[k];
    LLVMFuzzerTestOneInput(current.data(), current.size());
  }
  for (;; ++runs) {
    if ((runs & 15) == 0 &&
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >= seconds)
      break;
    current = pool[rng.below(pool.size())];
    const size_t rounds = 1 + rng.below(4);
    for (size_t r = 0; r < rounds; ++r) mutateOnce(current, pool, rng);
    if (current.size() > (size_t(1) << 20)) current.resize(size_t(1) << 20);
    LLVMFuzzerTestOneInput(current.data(), current.size());
    if (qvnFuzzAccepted) {
      ++accepted;
      // Accepted inputs join the pool; past its cap they replace older mutants.
      if (pool.size() < kPoolCap)
        pool.push_back(current);
      else if (seeds < kPoolCap)
        pool[seeds + rng.below(kPoolCap - seeds)] = current;
    }
  }
  std::printf("mutation driver %s: %ld inputs (%zu seeds), %ld accepted, no crash\n", kFormat, runs, seeds,
              accepted);
  return 0;
}
