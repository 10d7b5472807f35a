// What a writer settles before it opens its file, so that a file either reads
// back as the model it was written from or is not written at all.
#pragma once
#include "formats/model_image.h"

struct Environment;

namespace qvn {

enum class NumberForm { kLong, kShort };

// Every number that the writer of `format` ("LP" or "MPS") would put into the
// file converts back to a value the reader takes as the same (finite, not
// turned into zero, a finite bound not turned infinite), and the model holds
// nothing that the format has no place for (an objective offset). Otherwise a
// warning names the first offender and the result is the negated 1650.
int checkWritableNumbers(Environment *env, const ModelImage &img, const char *format, NumberForm form);

// Whether two of `names` are equal as a reader takes them: cut to 255 characters.
bool cutNamesRepeat(const NameList &names);

} // namespace qvn
