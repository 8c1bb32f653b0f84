// Small text files (the credential store, the options file) read whole and
// within limits, so that a name that points at a device or at a huge file makes
// a lookup fail at once instead of running without end.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The lines of the file at `path`, without their '\n'. False with the reason in
// *problem when the file cannot be opened or read, holds a line longer than
// `maxLine` bytes, or more than `maxBytes` bytes in all.
bool zobReadTextLines(const char* path, std::size_t maxLine, std::size_t maxBytes,
                      std::vector<std::string>* lines, std::string* problem);
