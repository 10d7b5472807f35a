// MipData: the integer model data beyond the column types (which live in
// LpData::ctype). Created when first needed, freed with the model.
#pragma once
#include "model/problem.h"

struct MipSearch;

namespace qvn {

// Priority order: one entry per listed column.
struct PriorityOrder {
  EnvVector<int> column, priority, direction;
};

// Special ordered sets; set s has members start[s]..start[s+1]-1, sorted by
// rising weight. start has count+1 entries.
struct SosData {
  int count = 0;
  EnvVector<char> type;
  EnvVector<int> start{0};
  EnvVector<int> member;
  EnvVector<double> weight;
  NameStore names;
  int defaultNames = -1;
};

// Held MIP start: values for the listed columns only.
struct MipStartData {
  EnvVector<int> column;
  EnvVector<double> value;
};

// Rows kept beside the model, not in its LP: user cuts or lazy constraints.
// Row r has entries start[r]..start[r+1]-1; start has count+1 entries.
struct ModelRowSet {
  int count = 0;
  EnvVector<int> start{0};
  EnvVector<int> index;
  EnvVector<double> value, rhs;
  EnvVector<char> sense;
  NameStore names;
  int defaultNames = -1;
};

} // namespace qvn

struct MipData {
  MipSearch *searchState = nullptr;  // the search itself hangs from Problem::mipSearch
  qvn::PriorityOrder *order = nullptr;
  qvn::SosData *sosData = nullptr;
  qvn::MipStartData *startData = nullptr;
  void *indicatorData = nullptr;
  void *cutData = nullptr;
  qvn::ModelRowSet *userCuts = nullptr;
  qvn::ModelRowSet *lazyConstraints = nullptr;
  void *heuristicData = nullptr;
};

namespace qvn {

MipData &ensureMipData(Problem *lp);
// The problem's sets, or null when it holds none.
inline const SosData *heldSos(const Problem *lp) {
  return lp->mipData && lp->mipData->sosData && lp->mipData->sosData->count > 0 ? lp->mipData->sosData : nullptr;
}
void destroyMipData(MipData *&data);
// Columns deleted with mapping `map` (new index or -1): members, order
// entries and start values of deleted columns go, the rest are renumbered.
// User cuts and lazy constraints are freed, with a warning each, since a row
// that loses a term is no longer the row its owner wrote.
void mipDeleteColumns(Environment *env, MipData *data, const int *map);
// Deep copy for QVNcloneprob; throws std::bad_alloc.
MipData *copyMipData(const MipData &from);

} // namespace qvn
