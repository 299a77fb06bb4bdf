// The report in a bundle, whoever made the archive: nothing in it is believed, and nothing is unpacked.
#pragma once

#include <string>
#include <string_view>

#include "value.h"

/// Reads the report of the archive `path` into `root`, a document. Values that this program does not know are left out.
/// False with one line in `why`.
bool bundle_read(const char* path, value* root, std::string* why);
/// The same of an archive in memory.
bool bundle_parse(std::string_view archive, value* root, std::string* why);
