// The first line of a small text file (the installed data version), read with plain system calls.
#pragma once

#include <string>

namespace voalgo2 {

// Opens `path` (a host path, already mapped) and stores its first line, without the '\n', in
// `line`: everything up to the first newline or the end of the file, as std::getline would.
// Answers false, leaving `line` empty, when the file cannot be opened; a read error ends the line
// where it occurs.
bool readFirstLine(const char* path, std::string& line);

}  // namespace voalgo2
