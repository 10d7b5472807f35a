// Flow cuts: mixed integer rounding on single rows and short aggregations in
// which continuous columns go through their variable upper bounds x <= d + e z
// (from the implied-bound table) before rounding. On a fixed charge row
// sum x_i <= b with x_i <= u_i z_i this gives the flow cover inequalities in
// their rounding form; the rounding itself is shared with the MIR family.
#include "mip/cuts/cut_pool.h"

namespace qvn {

int separateFlowCuts(MipRun &run, void *data, const double *x, int *added) {
  return separateRounding(run, *static_cast<CutContext *>(data), x, true, kCutFlow, added);
}

} // namespace qvn
