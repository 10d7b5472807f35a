// Name stores of LpData: building, appending and generated names.
#pragma once
#include "model/problem.h"

namespace qvn {

// Fills `store` with `count` names and room for `capacity` entries. Throws
// std::bad_alloc on failure, leaving `store` untouched.
void buildNameStore(NameStore &store, char *const *names, int count, size_t capacity,
                    int extraParam);
// Appends names behind the `have` existing entries; a null `names` or a null or
// empty entry gets a generated name with `prefix` from `counter`.
void appendNames(NameStore &store, int have, char *const *names, int count, char prefix,
                 int &counter);
// Gives the `count` existing entries generated names (the store had none).
void makeDefaultNames(NameStore &store, int count, char prefix, int &counter);
// The number after which generated names continue: the largest "<prefix><digits>"
// among existing names, or `counter` when it is already set. 1209 when a name
// has more than 9 digits.
int defaultNameCounter(const NameStore &store, int count, char prefix, int &counter);

} // namespace qvn
