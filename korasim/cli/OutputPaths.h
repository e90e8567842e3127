// Where korasim's output files go, one rule for every command: a file goes where its option
// names it, else into the --out folder under a fixed name, else nowhere (nothing lands in the
// current folder unasked). The folder an output file goes into must exist: a mistyped path
// is an error, not a new tree. Only the folders the user names as such (--out,
// --session-out) are created, with any missing parent, as `mkdir -p` does.
#pragma once

#include <initializer_list>
#include <string>

#include "cli/CommandOptions.h"

namespace korasim {

// The file an output option names: `given` when set; else `<outDir>/<defaultName>` when
// --out was given and the output has a default name (null: none); else "" (not written).
// Throws UsageError when `given` lies in a folder that does not exist.
std::string outputFile(const std::string& given, const std::string& outDir,
                       const char* defaultName);

// Throws UsageError naming `path` when the folder it would be written into does not exist or is
// not a folder. An empty path (no such output) and a bare file name (the current folder) pass.
void requireParentFolder(const std::string& path);

// Creates the output folder `dir` (--out, --session-out) and any missing parent; nothing for an
// empty `dir`. Throws UsageError when it names a file or cannot be created.
void prepareOutputFolder(const std::string& dir);

// A command's outputs in one call at its start: every file named (each must have its folder),
// then the output folder (created only when every file passed).
void prepareOutputs(std::initializer_list<std::string> files, const std::string& outDir = "");

}  // namespace korasim
