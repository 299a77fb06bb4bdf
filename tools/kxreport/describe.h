// What the programs say of themselves, from their live tables.
#pragma once

#include <cstdio>

#include "value.h"

/// All commands of kxreport and kxtool.
void commands_describe(value_sink* out);
/// The JSON schema of all documents, on `out`.
void schema_print(FILE* out);
