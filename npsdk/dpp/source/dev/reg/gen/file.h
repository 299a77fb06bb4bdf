// Whole files in and out, for the generators.
#pragma once

#include <string>

namespace reg_gen {

// False with errno set when the file cannot be read or written whole.
bool file_read(const char* path, std::string& text);
bool file_write(const char* path, const std::string& text);

/// A path as it stands in complaints: the folder of the sheets is known.
std::string file_name(const char* path);

}  // namespace reg_gen
