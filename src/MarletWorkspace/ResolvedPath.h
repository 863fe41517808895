#pragma once

#include <string>
#include <vector>

namespace marlet {

// The canonical form of a path that may not exist yet: absolute, without ".", ".." and needless slashes, and with
// symbolic links resolved as far as it exists. Names keep their bytes. Throws FolderSchemeError::invalidSegment for a
// path that holds a NUL, which the system would take for its end.
std::string resolvedPath(const std::string& path);

// The resolved path of the segments below `root`. Throws FolderSchemeError::outsideRoot where they lead out of it, also
// by a symbolic link, or back to it.
std::string appendingCheckedSegments(const std::string& root, const std::vector<std::string>& segments);

// With the home folder in place of a tilde: "~" alone, or a beginning "~/".
std::string expandingTilde(const std::string& path, const std::string& homeDirectory);

}  // namespace marlet
