#include "model/mip_data.h"

#include "model/edit.h"

namespace qvn {

MipData &ensureMipData(Problem *lp) {
  if (!lp->mipData) lp->mipData = envNew<MipData>();
  return *lp->mipData;
}

void destroyMipData(MipData *&data) {
  if (!data) return;
  envDelete(data->order);
  envDelete(data->sosData);
  envDelete(data->startData);
  envDelete(data->userCuts);
  envDelete(data->lazyConstraints);
  envDelete(data);
}

namespace {

// Keeps the entries whose column survives, renumbered; all vectors in step.
template <class... Rest> void keepMapped(EnvVector<int> &column, const int *map, Rest &...rest) {
  size_t out = 0;
  for (size_t k = 0; k < column.size(); ++k) {
    if (map[column[k]] < 0) continue;
    column[out] = map[column[k]];
    ((rest[out] = rest[k]), ...);
    ++out;
  }
  column.resize(out);
  (rest.resize(out), ...);
}

} // namespace

void mipDeleteColumns(Environment *env, MipData *data, const int *map) {
  if (data->order) keepMapped(data->order->column, map, data->order->priority, data->order->direction);
  if (data->startData) keepMapped(data->startData->column, map, data->startData->value);
  if (SosData *sos = data->sosData) {
    int out = 0;
    for (int s = 0; s < sos->count; ++s) {
      const int begin = sos->start[s], end = sos->start[s + 1];
      sos->start[s] = out;
      for (int k = begin; k < end; ++k) {
        if (map[sos->member[k]] < 0) continue;
        sos->member[out] = map[sos->member[k]];
        sos->weight[out] = sos->weight[k];
        ++out;
      }
    }
    sos->start[sos->count] = out;
    sos->member.resize(static_cast<size_t>(out));
    sos->weight.resize(static_cast<size_t>(out));
  }
  if (data->userCuts) {
    envDelete(data->userCuts);
    data->userCuts = nullptr;
    QVNmsg(env->warningChannel, "Warning:  User cuts freed during column deletion.\n");
  }
  if (data->lazyConstraints) {
    envDelete(data->lazyConstraints);
    data->lazyConstraints = nullptr;
    QVNmsg(env->warningChannel, "Warning:  Lazy constraints freed during column deletion.\n");
  }
}

MipData *copyMipData(const MipData &from) {
  MipData *to = envNew<MipData>();
  try {
    if (from.order) to->order = envNew<PriorityOrder>(*from.order);
    if (from.sosData) to->sosData = envNew<SosData>(*from.sosData);
    if (from.startData) to->startData = envNew<MipStartData>(*from.startData);
    if (from.userCuts) to->userCuts = envNew<ModelRowSet>(*from.userCuts);
    if (from.lazyConstraints) to->lazyConstraints = envNew<ModelRowSet>(*from.lazyConstraints);
  } catch (...) {
    destroyMipData(to);
    throw;
  }
  return to;
}

} // namespace qvn
