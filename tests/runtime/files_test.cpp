#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unordered_map>
#include <random>
#include <string>
#include <vector>

#include "runtime/alloc.h"
#include "runtime/files.h"
#include "runtime/temp_dir.h"
#include "support/test_support.h"

namespace {

using qvntest::EnvFixture;
using qvntest::TempDir;
using FileTest = EnvFixture;
using namespace qvn;

// Text with many short lines, one line longer than the file buffer and no line
// feed at the very end: the shapes that line readers get wrong.
std::string sampleText() {
  std::string text;
  std::mt19937 rng(7);
  for (int i = 0; i < 15000; ++i) {
    text += "row" + std::to_string(i) + ": ";
    text.append(rng() % 60, static_cast<char>('a' + i % 26));
    text += '\n';
  }
  text += std::string(kFileBufferSize + 12345, 'L') + "\n\n";
  text += "last line without end";
  return text;
}

std::vector<std::string> splitLines(const std::string &text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size()) {
    const size_t nl = text.find('\n', start);
    const size_t end = nl == std::string::npos ? text.size() : nl + 1;
    lines.push_back(text.substr(start, end - start));
    start = end;
  }
  return lines;
}

// Reads a whole file through the service, by lines.
std::string readByLines(const std::string &path, size_t *lineCount) {
  QvnFile *file = openRead(nullptr, path.c_str(), "rb", nullptr, 1, 1, nullptr);
  EXPECT_NE(file, nullptr) << path;
  if (!file) return "";
  std::string all;
  size_t length = 0;
  *lineCount = 0;
  for (char *line; (line = fileReadLine(file, &length)) != nullptr;) {
    EXPECT_EQ(std::strlen(line), length);
    all.append(line, length);
    ++*lineCount;
  }
  EXPECT_FALSE(fileFailed(file));
  EXPECT_EQ(closeFile(&file), 0);
  EXPECT_EQ(file, nullptr);
  return all;
}

int run(const std::string &command) { return std::system(command.c_str()); }

TEST(Files, CompressionByName) {
  EXPECT_EQ(compressionOf("a.gz"), 1);
  EXPECT_EQ(compressionOf("A.GZ"), 1);
  EXPECT_EQ(compressionOf("m.Gz"), 1);
  EXPECT_EQ(compressionOf(".gz"), 1);
  EXPECT_EQ(compressionOf("x.Z"), 1);
  EXPECT_EQ(compressionOf("x.z"), 0);
  EXPECT_EQ(compressionOf("f.bz2"), 2);
  EXPECT_EQ(compressionOf("F.BZ2"), 2);
  EXPECT_EQ(compressionOf(".bz2"), 2);
  EXPECT_EQ(compressionOf("bz2"), 0);
  EXPECT_EQ(compressionOf("gz"), 0);
  EXPECT_EQ(compressionOf("a.bz"), 0);
  EXPECT_EQ(compressionOf("model.lp"), 0);
  EXPECT_EQ(compressionOf(""), 0);
  EXPECT_EQ(compressionOf(nullptr), 0);
}

TEST(Files, PlainAndCompressedRoundTripLineByLine) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string text = sampleText();
  const std::vector<std::string> lines = splitLines(text);
  for (const char *name : {"t.txt", "t.txt.gz", "t.txt.bz2", "T.TXT.GZ"}) {
    SCOPED_TRACE(name);
    const std::string path = dir.file(name);
    QvnFile *out = openWrite(path.c_str(), "w", 1);
    ASSERT_NE(out, nullptr);
    // Mixed writes: formatted short pieces, one formatted piece longer than the
    // buffer, raw blocks.
    size_t k = 0;
    for (; k < lines.size() && lines[k].size() < 1000; ++k) {
      if (k % 2) ASSERT_TRUE(filePrintf(out, "%s", lines[k].c_str()));
      else ASSERT_TRUE(fileWrite(out, lines[k].data(), lines[k].size()));
    }
    ASSERT_TRUE(filePrintf(out, "%s", lines[k++].c_str()));
    for (; k < lines.size(); ++k) ASSERT_TRUE(filePuts(out, lines[k].c_str()));
    ASSERT_EQ(closeFile(&out), 0);
    const auto size = std::filesystem::file_size(path);
    if (compressionOf(name)) EXPECT_LT(size, text.size() / 2);
    else EXPECT_EQ(size, text.size());

    size_t count = 0;
    EXPECT_EQ(readByLines(path, &count), text);
    EXPECT_EQ(count, lines.size());

    // fgets rules, characters and blocks agree with the lines.
    QvnFile *in = openRead(nullptr, path.c_str(), "r", nullptr, 1, 1, nullptr);
    ASSERT_NE(in, nullptr);
    char small[64];
    ASSERT_NE(fileGets(in, small, sizeof small), nullptr);
    EXPECT_EQ(std::string(small), lines[0].substr(0, 63));
    const int c = fileGetc(in);
    ASSERT_NE(c, EOF);
    std::string rest(text.size(), '\0');
    const size_t got = fileRead(in, rest.data(), rest.size());
    rest.resize(got);
    EXPECT_TRUE(std::string(small) + static_cast<char>(c) + rest == text);
    EXPECT_TRUE(fileAtEnd(in));
    EXPECT_EQ(fileGetc(in), EOF);
    EXPECT_EQ(fileGets(in, small, sizeof small), nullptr);
    EXPECT_EQ(closeFile(&in), 0);
  }
}

// The library's compressed output is what the standard tools expect, and what the
// tools make reads back; concatenated streams read to their end.
TEST(Files, InteroperatesWithGzipAndBzip2) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string text = sampleText();
  const std::string plain = dir.file("plain.txt");
  qvntest::writeText(plain, text);
  int tools = 0;
  for (const char *tool : {"gzip", "bzip2"}) {
    if (!qvntest::haveTool(tool)) continue;
    ++tools;
    SCOPED_TRACE(tool);
    const std::string ext = std::strcmp(tool, "gzip") == 0 ? ".gz" : ".bz2";
    const std::string ours = dir.file(std::string("ours.txt") + ext);
    QvnFile *out = openWrite(ours.c_str(), "w", 1);
    ASSERT_NE(out, nullptr);
    ASSERT_TRUE(fileWrite(out, text.data(), text.size()));
    ASSERT_EQ(closeFile(&out), 0);
    const std::string unpacked = dir.file("unpacked.txt");
    ASSERT_EQ(run(std::string(tool) + " -dc '" + ours + "' > '" + unpacked + "'"), 0);
    EXPECT_TRUE(qvntest::readText(unpacked) == text);

    const std::string theirs = dir.file(std::string("theirs.txt") + ext);
    ASSERT_EQ(run(std::string(tool) + " -c '" + plain + "' > '" + theirs + "'"), 0);
    size_t count = 0;
    EXPECT_TRUE(readByLines(theirs, &count) == text);

    const std::string twice = dir.file(std::string("twice.txt") + ext);
    const std::string part = dir.file("part.txt");
    qvntest::writeText(part, "second stream\n");
    ASSERT_EQ(run(std::string(tool) + " -c '" + plain + "' > '" + twice + "' && " + tool + " -c '" +
                  part + "' >> '" + twice + "'"),
              0);
    EXPECT_TRUE(readByLines(twice, &count) == text + "second stream\n");
  }
  if (tools == 0) GTEST_SKIP() << "neither gzip nor bzip2 found";
}

TEST(Files, DamagedCompressedInputFailsCleanly) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string text = sampleText();
  for (const char *name : {"d.gz", "d.bz2"}) {
    SCOPED_TRACE(name);
    const std::string path = dir.file(name);
    QvnFile *out = openWrite(path.c_str(), "w", 1);
    ASSERT_NE(out, nullptr);
    fileWrite(out, text.data(), text.size());
    ASSERT_EQ(closeFile(&out), 0);
    // Cut the file in half, then flip bytes in the middle of a full copy.
    std::string packed = qvntest::readText(path);
    qvntest::writeText(path, packed.substr(0, packed.size() / 2));
    QvnFile *in = openRead(nullptr, path.c_str(), "rb", nullptr, 1, 1, nullptr);
    ASSERT_NE(in, nullptr);
    std::string got(text.size(), '\0');
    EXPECT_LT(fileRead(in, got.data(), got.size()), text.size());
    EXPECT_TRUE(fileFailed(in));
    EXPECT_NE(closeFile(&in), 0);

    for (size_t i = packed.size() / 3; i < packed.size() / 3 + 64; ++i) packed[i] ^= 0x5a;
    qvntest::writeText(path, packed);
    in = openRead(nullptr, path.c_str(), "rb", nullptr, 1, 1, nullptr);
    ASSERT_NE(in, nullptr);
    size_t length = 0;
    for (int guard = 0; guard < 1000000 && fileReadLine(in, &length); ++guard) {
    }
    EXPECT_TRUE(fileFailed(in));
    closeFile(&in);
  }
}

// A compress(1) writer for the test: LZW, codes least significant bit first,
// eight codes to a group, the group padded when the code width changes or the
// table is cleared. Clears when the table is full if asked to.
std::string lzwCompress(const std::string &in, int maxBits, bool clearWhenFull) {
  std::string out = {'\x1f', '\x9d', static_cast<char>(maxBits | 0x80)};
  unsigned long bits = 0;
  int bitCount = 0, nBits = 9, codesInGroup = 0;
  long maxCode = 511, freeEnt = 257;
  const long maxMax = 1l << maxBits;
  bool clearFlag = false;
  auto put = [&](long code) {
    bits |= static_cast<unsigned long>(code) << bitCount;
    bitCount += nBits;
    for (; bitCount >= 8; bitCount -= 8, bits >>= 8) out.push_back(static_cast<char>(bits & 0xff));
    ++codesInGroup;
  };
  auto pad = [&] {
    while (codesInGroup % 8) put(0);
    codesInGroup = 0;
  };
  auto emit = [&](long code) {
    put(code);
    if (clearFlag) {
      pad();
      nBits = 9;
      maxCode = 511;
      clearFlag = false;
    } else if (freeEnt > maxCode) {
      pad();
      ++nBits;
      maxCode = nBits == maxBits ? maxMax : (1l << nBits) - 1;
    }
  };
  std::unordered_map<long, long> dict;
  long ent = static_cast<unsigned char>(in[0]);
  for (size_t i = 1; i < in.size(); ++i) {
    const long c = static_cast<unsigned char>(in[i]);
    const auto found = dict.find(ent << 8 | c);
    if (found != dict.end()) {
      ent = found->second;
      continue;
    }
    emit(ent);
    if (freeEnt < maxMax) {
      dict[ent << 8 | c] = freeEnt++;
    } else if (clearWhenFull) {
      dict.clear();
      freeEnt = 257;
      clearFlag = true;
      emit(256);
    }
    ent = c;
  }
  emit(ent);
  if (bitCount > 0) out.push_back(static_cast<char>(bits & 0xff));
  return out;
}

// ".Z" files of compress(1) read as "gzip -cd" reads them.
TEST(Files, ReadsCompressFormat) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  std::string text;
  std::mt19937 rng(11);
  for (int i = 0; i < 30000; ++i) text += "line " + std::to_string(rng() % 5000) + " of text\n";
  const bool haveGzip = qvntest::haveTool("gzip");
  for (int maxBits : {9, 12, 16}) {
    for (bool clear : {false, true}) {
      SCOPED_TRACE(maxBits * 10 + clear);
      const std::string path = dir.file("c.Z");
      qvntest::writeText(path, lzwCompress(text, maxBits, clear));
      if (haveGzip) {  // the writer above is right by an independent reader
        const std::string check = dir.file("check.txt");
        ASSERT_EQ(run("gzip -dc '" + path + "' > '" + check + "'"), 0);
        ASSERT_TRUE(qvntest::readText(check) == text);
      }
      size_t count = 0;
      EXPECT_TRUE(readByLines(path, &count) == text);
      EXPECT_EQ(count, 30000u);
    }
  }
  // Damaged: a code beyond the table ends the read with an error.
  std::string bad = lzwCompress(text, 16, false);
  bad.resize(bad.size() / 2);
  bad += std::string(64, '\xff');
  qvntest::writeText(dir.file("bad.Z"), bad);
  QvnFile *in = openRead(nullptr, dir.file("bad.Z").c_str(), "rb", nullptr, 1, 1, nullptr);
  ASSERT_NE(in, nullptr);
  size_t length = 0;
  for (int guard = 0; guard < 1000000 && fileReadLine(in, &length); ++guard) {
  }
  EXPECT_TRUE(fileFailed(in));
  closeFile(&in);
}

TEST_F(FileTest, OpenReadRetriesWithExtension) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  qvntest::writeText(dir.file("model.lp"), "x\n");
  int status = 0;
  QvnFile *file = openRead(env, dir.file("model").c_str(), "r", ".lp", 0, 1, &status);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(fileGetc(file), 'x');
  closeFile(&file);
  closeFile(&file);  // a cleared pointer is tolerated
  EXPECT_EQ(takeErrors(), "");

  const std::string missing = dir.file("gone");
  EXPECT_EQ(openRead(env, missing.c_str(), "r", ".lp", 0, 1, &status), nullptr);
  EXPECT_EQ(status, -QVNERR_FAIL_OPEN_READ);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1423: Could not open file '" + missing +
                              "' for reading.\nQUORVAN Error  1423: Could not open file '" + missing +
                              ".lp' for reading.\n");
  for (const std::string &name : {missing + ".lp", missing + ".LP", missing + ".lp.gz"}) {
    status = 0;
    EXPECT_EQ(openRead(env, name.c_str(), "r", ".lp", 0, 1, &status), nullptr);
    EXPECT_EQ(status, -QVNERR_FAIL_OPEN_READ);
    EXPECT_EQ(takeErrors(), "QUORVAN Error  1423: Could not open file '" + name + "' for reading.\n");
  }
  EXPECT_EQ(openRead(env, missing.c_str(), "r", ".lp", 1, 1, &status), nullptr);
  EXPECT_EQ(takeErrors(), "QUORVAN Error  1423: Could not open file '" + missing + "' for reading.\n");
  EXPECT_EQ(openRead(env, missing.c_str(), "r", ".lp", 0, 1, nullptr), nullptr);
  EXPECT_EQ(takeErrors(), "");
  status = 0;
  EXPECT_EQ(openRead(env, "", "r", ".lp", 0, 1, &status), nullptr);
  EXPECT_EQ(status, QVNERR_NO_FILENAME_GIVEN);
  EXPECT_EQ(openRead(env, nullptr, "r", ".lp", 0, 1, &status), nullptr);
  EXPECT_EQ(takeErrors(), "");

  // A name written in capitals takes the extension in capitals first.
  qvntest::writeText(dir.file("UPPER.MPS"), "y\n");
  qvntest::writeText(dir.file("lower.mps"), "z\n");
  for (const char *name : {"UPPER", "lower"}) {
    file = openRead(env, dir.file(name).c_str(), "r", ".mps", 0, 1, &status);
    ASSERT_NE(file, nullptr) << name;
    closeFile(&file);
  }
  EXPECT_EQ(takeErrors(), "");
  // Without compression allowed a ".gz" name is an ordinary file.
  qvntest::writeText(dir.file("raw.gz"), "not packed\n");
  file = openRead(env, dir.file("raw.gz").c_str(), "r", nullptr, 1, 0, &status);
  ASSERT_NE(file, nullptr);
  size_t length = 0;
  EXPECT_STREQ(fileReadLine(file, &length), "not packed\n");
  closeFile(&file);
}

TEST_F(FileTest, AllocationFailureWhileOpening) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  qvntest::writeText(dir.file("a.txt"), "a\n");
  for (const char *name : {"a.txt", "w.gz", "w.bz2"}) {
    allocFailAfter(1);
    QvnFile *file = openWrite(dir.file(name).c_str(), "w", 1);
    allocFailAfter(0);
    EXPECT_EQ(file, nullptr) << name;
  }
  const long live = allocLive();
  allocFailAfter(2);
  int status = 0;
  EXPECT_EQ(openRead(env, dir.file("a.txt").c_str(), "r", nullptr, 1, 1, &status), nullptr);
  allocFailAfter(0);
  EXPECT_EQ(status, QVNERR_NO_MEMORY);
  EXPECT_EQ(allocLive(), live);
}

TEST_F(FileTest, TemporaryDirectories) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  char name[1024];
  ASSERT_EQ(makeTempDirectory(env, dir.path().c_str(), "qvn", name, sizeof name), 0);
  EXPECT_TRUE(std::filesystem::is_directory(name));
  EXPECT_EQ(std::string(name).rfind(dir.path() + "/qvn", 0), 0u);
  EXPECT_EQ(std::strlen(name), dir.path().size() + 1 + 3 + 6);
  char second[1024];
  ASSERT_EQ(makeTempDirectory(env, dir.path().c_str(), "qvn", second, sizeof second), 0);
  EXPECT_STRNE(name, second);
  EXPECT_EQ(takeErrors(), "");

  const std::string parent = dir.file("missing");
  EXPECT_EQ(makeTempDirectory(env, parent.c_str(), "qvn", name, sizeof name), -QVNERR_FAIL_OPEN_WRITE);
  EXPECT_EQ(takeErrors().rfind("QUORVAN Error  1422: Could not open file '" + parent + "/qvn", 0), 0u);
}

// A caller's stream: written through the buffer and left open; read line by line
// as the lines arrive, without waiting for the writer to finish.
TEST(Files, CallerStreams) {
  FILE *tmp = std::tmpfile();
  ASSERT_NE(tmp, nullptr);
  QvnFile *out = fileFromStream(tmp, true);
  ASSERT_NE(out, nullptr);
  ASSERT_TRUE(filePrintf(out, "%d %s\n", 7, "seven"));
  ASSERT_EQ(closeFile(&out), 0);
  EXPECT_EQ(std::ftell(tmp), 8);  // flushed, and the stream still usable
  std::rewind(tmp);
  QvnFile *in = fileFromStream(tmp, false);
  ASSERT_NE(in, nullptr);
  size_t length = 0;
  EXPECT_STREQ(fileReadLine(in, &length), "7 seven\n");
  EXPECT_EQ(fileReadLine(in, &length), nullptr);
  EXPECT_EQ(closeFile(&in), 0);
  EXPECT_EQ(std::fclose(tmp), 0);

  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  FILE *reader = fdopen(fds[0], "r");
  ASSERT_NE(reader, nullptr);
  ASSERT_EQ(write(fds[1], "first\nsecond", 13), 13);
  in = fileFromStream(reader, false);
  ASSERT_NE(in, nullptr);
  EXPECT_STREQ(fileReadLine(in, &length), "first\n");  // the writer is still open
  close(fds[1]);
  EXPECT_STREQ(fileReadLine(in, &length), "second");
  EXPECT_EQ(fileReadLine(in, &length), nullptr);
  closeFile(&in);
  std::fclose(reader);
  EXPECT_EQ(fileFromStream(nullptr, false), nullptr);
}

TEST(Files, ExportedWrappersAndSorts) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir.file("w.txt");
  FILE *f = QVNfopen(path.c_str(), "w");
  ASSERT_NE(f, nullptr);
  EXPECT_GE(QVNfputs("one line\n", f), 0);
  EXPECT_EQ(QVNfclose(f), 0);
  EXPECT_EQ(qvntest::readText(path), "one line\n");
  EXPECT_EQ(QVNfopen(dir.file("no/dir").c_str(), "r"), nullptr);
  EXPECT_EQ(QVNfclose(nullptr), EOF);
  EXPECT_EQ(QVNfputs("x", nullptr), EOF);
  char buffer[16];
  EXPECT_EQ(QVNstrcpy(buffer, "hello"), buffer);
  EXPECT_EQ(QVNstrlen(buffer), 5u);
  EXPECT_EQ(QVNstrlen(nullptr), 0u);
  EXPECT_EQ(QVNmemcpy(buffer + 1, "EL", 2), buffer + 1);
  EXPECT_STREQ(buffer, "hELlo");
  void *block = QVNmalloc(0);
  ASSERT_NE(block, nullptr);
  block = QVNrealloc(block, 100);
  ASSERT_NE(block, nullptr);
  QVNfree(block);

  std::mt19937 rng(3);
  for (int n : {0, 1, 2, 17, 1000, 100000}) {
    for (int shape = 0; shape < 4; ++shape) {
      std::vector<int> keys(n), perm(n);
      for (int i = 0; i < n; ++i) {
        keys[i] = shape == 0 ? static_cast<int>(rng() % 50) - 25   // many duplicates
                  : shape == 1 ? i                                   // sorted
                  : shape == 2 ? n - i                               // reversed
                               : static_cast<int>(rng());            // spread
        perm[i] = i;
      }
      const std::vector<int> original = keys;
      std::vector<int> alone = keys;
      QVNEisort(n, keys.data(), perm.data());
      QVNEinsort(n, alone.data());
      std::vector<int> expected = original;
      std::sort(expected.begin(), expected.end());
      EXPECT_EQ(keys, expected) << n << " " << shape;
      EXPECT_EQ(alone, expected) << n << " " << shape;
      std::vector<int> seen(n, 0);
      for (int i = 0; i < n; ++i) {
        ASSERT_EQ(original[perm[i]], keys[i]);
        ++seen[perm[i]];
      }
      EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [](int c) { return c == 1; }));
    }
  }
  QVNEisort(5, nullptr, nullptr);  // tolerated
}

} // namespace
