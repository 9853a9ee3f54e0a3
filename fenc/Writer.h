// The one place that writes files.
//
// A file is written under a temporary name beside its place and renamed, so that no reader ever
// sees half of it, and only when its text changed, so that what depends on it is not built anew.
#pragma once

#include <string>
#include <vector>

namespace Fenc {

struct OutputFile {
   std::string path; ///< below the output directory, or absolute
   std::string text;
};

/// Writes all files, making directories as needed. Returns an empty text, or the first failure in
/// words.
std::string writeFiles(std::string const& outputDirectory, std::vector<OutputFile> const& files);

} // namespace Fenc
