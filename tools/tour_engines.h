// The tour's two engine steps: a word count through the library's MapReduce
// job object and the same count as a Pig script, each on a text file of
// known words in the tour's work directory, checked against the counts.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zohtool {

using TourStep = std::pair<const char*, std::function<bool(std::string*)>>;

// The steps, working beneath `workDir` (a local directory) and leaving nothing there.
std::vector<TourStep> engineTourSteps(const std::string& workDir);

}  // namespace zohtool
