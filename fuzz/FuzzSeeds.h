// The seed corpora of the fuzz targets.
#pragma once

#include <string>

namespace velotune_fuzz {

/// The fuzz targets by name, each with its seed folder and its folder of kept
/// inputs under fuzz/regressions/.
constexpr const char* kTargets[] = {"snd_wav", "snd_aif", "snd_mac", "droplist", "editbox"};

/// Writes every target's seeds into `outDir`/<target>/ (folders made as needed,
/// files of the same name replaced) and returns how many files it wrote. Exits
/// the process with status 1 when a file cannot be written.
int WriteSeeds(const std::string& outDir);

}  // namespace velotune_fuzz
