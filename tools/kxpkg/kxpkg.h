// kxpkg: builds, shows and checks firmware version packages. It reads them with the update's own code, so that what it
// accepts the update accepts.
#pragma once

#include <cstdint>
#include <cstdio>

/// Prints to `faults` everything for which the update refuses the package at `path` and whatever else shows that it is
/// damaged, a line each that begins with `name`; to `sums`, unless null, its SHA-256 and the sums of its images.
/// Returns how many faults there are.
uint32_t kxpkg_check(const char* path, const char* name, FILE* sums, FILE* faults);

/// Prints identification, board type, kind, sums and images. Returns the exit status.
int kxpkg_info(const char* path);

/// Writes the package that the JSON file at `description` describes to `output`; a package that the update would
/// refuse is not written. Returns the exit status.
int kxpkg_build(const char* description, const char* output);
