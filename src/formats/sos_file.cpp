// The SOS file (".sos"): a NAME line, then sets as in the SOS section of an
// MPS file: a set line with its type S1 or S2 in positions 1-2 and its name
// from position 4, followed by member lines of column name and weight.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "formats/side_file.h"
#include "formats/number_format.h"
#include "model/edit.h"
#include "model/mip_data.h"

namespace qvn {

namespace {

struct SosRead {
  ColumnNameIndex names;
  SosSets sets;
  EnvVector<char> named;  // per set: whether the file gave it a name
};

int setLine(SideReader &r, SosRead &s) {
  if (r.length < 3) return r.error(QVNERR_NO_SOS_TYPE);
  const char a = static_cast<char>(std::toupper(static_cast<unsigned char>(r.buffer[1])));
  const char b = r.buffer[2];
  if (a != 'S' || (b != '1' && b != '2')) return reportError(r.env, QVNERR_UNKNOWN_SOS_TYPE, r.line, r.buffer[1], b);
  r.splitFrom(4);
  char nameText[kFileNameMax + 1] = "";
  if (r.fieldCount > 0) r.name(0, nameText);
  s.sets.open(b, nameText, std::strlen(nameText));
  s.named.push_back(r.fieldCount > 0);
  return 0;
}

int memberLine(SideReader &r, SosRead &s) {
  if (s.sets.count == 0) return r.error(QVNERR_NO_SOS_TYPE);
  char nameText[kFileNameMax + 1];
  double weight = 0.0;
  if (r.fieldCount > 1) QVN_TRY(r.number(1, &weight));
  const int j = s.names.find(r.name(0, nameText));
  if (j < 0) {
    r.warn("Warning, line %d: '%.255s' is not a variable.\n", r.line, nameText);
    return 0;
  }
  s.sets.addMember(j, weight);
  return 0;
}

int readSosBody(SideReader &r, void *context) {
  auto &s = *static_cast<SosRead *>(context);
  QVN_TRY(r.start());
  for (;;) {
    const int kind = r.nextDataLine();
    if (kind < 0) return kind;
    if (kind == 0) break;
    const bool member = r.length < 3 ? false : r.buffer[1] == ' ' && r.buffer[2] == ' ';
    QVN_TRY(member ? memberLine(r, s) : setLine(r, s));
  }
  r.finish();
  return 0;
}

int parseSos(Environment *env, Problem *lp, const char *fileName, SosRead &s) {
  if (!fileName) return QVNERR_NULL_POINTER;
  QVN_TRY(flushCache(env, lp));
  s.names.build(lp);
  SideReader reader(env);
  QVN_TRY(readSideFile(env, fileName, ".sos", reader, readSosBody, &s));
  defaultSosWeights(env, s.sets);
  return 0;
}

int readSos(Environment *env, Problem *lp, const char *fileName) {
  SosRead s;
  QVN_TRY(parseSos(env, lp, fileName, s));
  // Sets the file left unnamed get generated names from the setter.
  EnvVector<char *> names(static_cast<size_t>(s.sets.count), nullptr);
  bool anyNamed = false;
  for (int k = 0; k < s.sets.count; ++k) {
    if (!s.named[static_cast<size_t>(k)]) continue;
    names[static_cast<size_t>(k)] = const_cast<char *>(s.sets.names.get(k));
    anyNamed = true;
  }
  return alreadyReported(QVNcopysos(env, lp, s.sets.count, static_cast<int>(s.sets.member.size()),
                                    s.sets.type.data(), s.sets.start.data(), s.sets.member.data(),
                                    s.sets.weight.data(), anyNamed ? names.data() : nullptr));
}

struct SosArrays {
  int *numsos, *numsosnz;
  char *sostype;
  int *sosbeg, *sosind;
  double *soswt;
  int sosspace, nzspace;
  int *surplus;
};

// The sets of a file in the caller's arrays, with the room protocol of the
// getters: what is missing comes back negative in surplus.
int readSosArrays(Environment *env, Problem *lp, const char *fileName, const SosArrays &a) {
  if (!a.numsos || !a.numsosnz || !a.surplus) return QVNERR_NULL_POINTER;
  if (a.sosspace < 0 || a.nzspace < 0) return QVNERR_BAD_ARGUMENT;
  SosRead s;
  QVN_TRY(parseSos(env, lp, fileName, s));
  const int sets = s.sets.count, members = static_cast<int>(s.sets.member.size());
  *a.numsos = sets;
  *a.numsosnz = members;
  const int missing = std::max(0, sets - a.sosspace) + std::max(0, members - a.nzspace);
  *a.surplus = -missing;
  if (missing > 0) return QVNERR_NEGATIVE_SURPLUS;
  if ((sets > 0 && (!a.sostype || !a.sosbeg)) || (members > 0 && (!a.sosind || !a.soswt)))
    return QVNERR_NULL_POINTER;
  *a.surplus = (a.sosspace - sets) + (a.nzspace - members);
  for (int k = 0; k < sets; ++k) {
    a.sostype[k] = s.sets.type[static_cast<size_t>(k)];
    a.sosbeg[k] = s.sets.start[static_cast<size_t>(k)];
  }
  for (int k = 0; k < members; ++k) {
    a.sosind[k] = s.sets.member[static_cast<size_t>(k)];
    a.soswt[k] = s.sets.weight[static_cast<size_t>(k)];
  }
  return 0;
}

int writeSosBody(QvnFile *out, void *context) {
  const Problem *lp = static_cast<const Problem *>(context);
  const SosData &sos = *heldSos(lp);
  ColumnNameIndex names;
  names.build(lp);
  filePrintf(out, "NAME          %.255s\n", lp->lpData->probName ? lp->lpData->probName : "");
  char number[40];
  for (int s = 0; s < sos.count; ++s) {
    char generated[32];
    const char *setName = sos.names.exists ? sos.names.name(s) : nullptr;
    if (!setName) {
      std::snprintf(generated, sizeof generated, "s%d", s + 1);
      setName = generated;
    }
    filePrintf(out, " S%c %s\n", sos.type[static_cast<size_t>(s)], setName);
    for (int k = sos.start[static_cast<size_t>(s)]; k < sos.start[static_cast<size_t>(s) + 1]; ++k) {
      formatNumber(sos.weight[static_cast<size_t>(k)], number);
      filePrintf(out, "    %.255s  %s\n", names.text(sos.member[static_cast<size_t>(k)]), number);
    }
  }
  filePrintf(out, "ENDATA\n");
  return 0;
}

int writeSos(Environment *env, Problem *lp, const char *fileName) {
  if (!heldSos(lp)) return QVNERR_NO_SOS;
  if (!lp->lpData->colNames.exists && lp->lpData->numCols > 0)
    QVNmsg(env->warningChannel, "Default %-6s names %c1, %c2 ... being created.\n", "column", 'x', 'x');
  return writeSideFile(env, fileName, writeSosBody, lp);
}

} // namespace

} // namespace qvn

using namespace qvn;

extern "C" {

QVN_API int QVNreadcopysos(QVNCENVptr cenv, QVNLPptr lp, const char *fileName) {
  return guardedSideRead(cenv, lp, fileName, readSos);
}

QVN_API int QVNsoswrite(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName) {
  return guardedSideWrite(cenv, lp, fileName, writeSos);
}

QVN_API int QVNsosread(QVNCENVptr cenv, QVNCLPptr lp, const char *fileName, int *numsos, int *numsosnz,
                       char *sostype, int *sosbeg, int *sosind, double *soswt, int sosspace, int nzspace,
                       int *surplus) {
  const SosArrays arrays{numsos, numsosnz, sostype, sosbeg, sosind, soswt, sosspace, nzspace, surplus};
  return guardedSideWrite(cenv, lp, fileName, [&](Environment *env, Problem *p, const char *name) {
    return readSosArrays(env, p, name, arrays);
  });
}

} // extern "C"
