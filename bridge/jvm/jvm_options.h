// The options of the JVM that the bridge starts.
#pragma once

#include <string>
#include <vector>

namespace zojni {

// The bridge's defaults, then the user's options (`text`, ZOH_JVM_OPTIONS, split
// at white space; null for none), so that a user's option of the same name
// wins. A memory default is left out when a user's option chooses the same
// thing: any heap size replaces both of the heap defaults, any collector the
// serial one. `classArchive`, when not empty, is handed to the JVM unless the
// user's options choose an archive or sharing themselves.
std::vector<std::string> jvmOptions(const char* text, const std::string& classArchive);

}  // namespace zojni
