// Files in and out and what is said of them, for the generators.
#pragma once

#include <string>

#include "sheet.h"

namespace reg_gen {

/// A whole file; one that cannot be read ends the program with status 1 and the reason.
std::string file_read(const char* path);
/// The same for a file that cannot be written whole.
void file_write(const char* path, const std::string& text);

/// A path as it stands in complaints: the folder of the sheets is known.
std::string file_name(const char* path);

/// Ends the program with status 1 when there are complaints, each with file and line.
void complaints_end(const complaints& found);

}  // namespace reg_gen
