// What a writer settles before it opens its file, so that a file either reads
// back as the model it was written from or is not written at all.
#pragma once
#include "formats/model_image.h"

struct Environment;

namespace qvn {

enum class NumberForm { kLong, kShort };

// Whether the number text of `value` in `form` converts back to a value that
// the reader takes as the same (finite, not turned into zero, within the
// digits of the form). Bounds also must not cross the infinity threshold.
bool numberReadsBack(double value, NumberForm form);
bool boundReadsBack(double value, NumberForm form);

// Every number that the writer of `format` ("LP" or "MPS") would put into the
// file reads back, and the model holds nothing that the format has no place
// for (an objective offset). Otherwise a warning names the first offender and
// the result is the negated 1650.
int checkWritableNumbers(Environment *env, const ModelImage &img, const char *format, NumberForm form);

// Names as a reader takes them: at most 255 characters.
bool sameCutName(const char *a, const char *b);
// Whether two of `names` (cut to 255 characters) are equal.
bool cutNamesRepeat(const NameList &names);

} // namespace qvn
