// QconstrData: the quadratic constraints of a Problem. Their functions and
// the barrier that solves them are not part of this library yet; the record
// exists so that the problem types with quadratic constraints can be held.
#pragma once
#include "model/attachments.h"
#include "model/problem.h"

struct QconstrData {
  int count = 0;
};

namespace qvn {

inline QconstrData *createQconstrData() { return envNew<QconstrData>(); }
inline void destroyQconstrData(QconstrData *&q) { envDelete(q); }

// The record under which a Problem keeps its QconstrData (qp_attachment.cpp).
extern const AttachmentOps kQuadConstraintsAttachment;

} // namespace qvn
