// The shared side of every command: error reports, targets and sessions.
#include <fnmatch.h>

#include <algorithm>
#include <map>

#include "fs_commands.h"
#include "hadoop_path.h"

namespace zohtool {

const char kFsToolName[] = "zohadoop-fs";

namespace {

const std::map<std::string, const char*>& synopses() {
  static const std::map<std::string, const char*> table = {
      {"ls", "ls [-d] [-R] [-h] [-t] [-S] [-r] [path ...]"},
      {"mkdir", "mkdir [-p] path ..."},
      {"put", "put [-f] localsrc ... dst"},
      {"get", "get [-f] src ... localdst"},
      {"cat", "cat src ..."},
      {"head", "head file"},
      {"tail", "tail file"},
      {"rm", "rm [-r|-R] [-f] [-skipTrash] path ..."},
      {"rmdir", "rmdir [--ignore-fail-on-non-empty] dir ..."},
      {"mv", "mv src dst"},
      {"cp", "cp [-f] src ... dst"},
      {"test", "test -e|-d|-f|-s|-z path"},
      {"stat", "stat [format] path ..."},
      {"du", "du [-s] [-h] path ..."},
      {"count", "count [-h] [-v] path ..."},
      {"touchz", "touchz path ..."},
      {"appendToFile", "appendToFile localsrc ... dst"},
      {"getmerge", "getmerge [-nl] src localdst"},
      {"copyFromLocal", "copyFromLocal [-f] localsrc ... dst"},
      {"copyToLocal", "copyToLocal [-f] src ... localdst"},
  };
  return table;
}

}  // namespace

std::string javaSentence(const std::string& text) {
  // "[Hadoop Client 1725] Proxy method 'X' failed on the Java side with error
  // N: <sentence>": a person acts on the sentence; -v keeps the rest.
  static const char kCatalogue[] = "[Hadoop Client 1725] ";
  static const char kSide[] = " failed on the Java side with error ";
  if (text.compare(0, sizeof kCatalogue - 1, kCatalogue) != 0) return text;
  const size_t side = text.find(kSide);
  const size_t colon = side == std::string::npos ? side : text.find(": ", side);
  return colon == std::string::npos ? text : text.substr(colon + 2);
}

int CommandContext::fail(const std::string& text) const {
  // Keep the report in its place among the lines already printed.
  std::fflush(out);
  const std::string shown = line.options.verbose ? text : javaSentence(text);
  std::fprintf(err, "%s: %s\n", line.command.c_str(), withoutSecrets(shown).c_str());
  return 1;
}

int CommandContext::failPath(const std::string& display, const std::string& what) const {
  return fail("`" + display + "': " + what);
}

bool CommandContext::refuse(const std::string& text) const {
  fail(text);
  return false;
}

bool CommandContext::refusePath(const std::string& display, const std::string& what) const {
  failPath(display, what);
  return false;
}

bool CommandContext::target(const std::string& typed, FsTarget* out) const {
  std::string error;
  if (FsTarget::parse(typed, line.options, out, &error)) return true;
  fail(error);
  return false;
}

HdfsSession* CommandContext::session(const FsTarget& target) const {
  std::string error;
  HdfsSession* found = sessions.get(target, &error);
  if (!found) fail(error);
  return found;
}

int usageError(const CommandContext& ctx, const char* synopsis) {
  std::fprintf(ctx.err, "Usage: %s %s\n", kFsToolName, synopsis);
  return 2;
}

const char* commandSynopsis(const std::string& command) {
  const auto it = synopses().find(command);
  return it == synopses().end() ? "" : it->second;
}

}  // namespace zohtool

namespace zohtool {

namespace {

bool hasGlob(const std::string& component) {
  return component.find_first_of("*?[{") != std::string::npos;
}

// Hadoop's "{a,b}" alternatives, nested ones too, written out as separate
// patterns (an alternative may hold '/', so this comes before the split into
// components). False on a '{' without its '}'.
bool expandBraces(const std::string& pattern, std::vector<std::string>* out) {
  const size_t open = pattern.find('{');
  if (open == std::string::npos) {
    out->push_back(pattern);
    return true;
  }
  std::vector<std::string> alternatives(1);
  int depth = 0;
  for (size_t i = open + 1; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (c == '{') ++depth;
    if (c == '}' && depth-- == 0) {
      for (const auto& alternative : alternatives) {
        if (!expandBraces(pattern.substr(0, open) + alternative + pattern.substr(i + 1), out))
          return false;
      }
      return true;
    }
    if (c == ',' && depth == 0) {
      alternatives.emplace_back();
    } else {
      alternatives.back() += c;
    }
  }
  return false;
}

// A typed operand in three parts: scheme and authority, path, items.
struct TypedParts {
  std::string prefix;
  std::string path;
  std::string items;
};

TypedParts splitTyped(const std::string& typed) {
  TypedParts parts;
  std::string head = typed;
  // Items start at a '?' followed by key=value text; any other '?' is a glob.
  const size_t question = typed.rfind('?');
  if (question != std::string::npos &&
      typed.find('=', question) != std::string::npos &&
      typed.find('/', question) == std::string::npos) {
    head = typed.substr(0, question);
    parts.items = typed.substr(question);
  }
  size_t pathStart = 0;
  if (hasScheme(head)) {
    pathStart = head.find('/', head.find("://") + 3);
    if (pathStart == std::string::npos) pathStart = head.size();
  }
  parts.prefix = head.substr(0, pathStart);
  parts.path = head.substr(pathStart);
  return parts;
}

// Looks `typed` up on its file system; false (reported) when the lookup fails.
bool statTyped(const CommandContext& ctx, const std::string& typed, FsTarget* target,
               EntryInfo* entry, bool* found) {
  if (!ctx.target(typed, target)) return false;
  HdfsSession* session = ctx.session(*target);
  if (!session) return false;
  std::string error;
  return session->stat(*target, entry, found, &error) || ctx.refuse(error);
}

// Expands components[i..] under `base` (a path on the target's file system).
bool expandFrom(const CommandContext& ctx, const TypedParts& parts, const std::string& base,
                const std::vector<std::string>& components, size_t i,
                std::vector<std::string>* out) {
  std::string path = base;
  for (; i < components.size() && !hasGlob(components[i]); ++i)
    path = path.empty() && components[i].empty() ? "/" : joinPath(path, components[i]);
  if (i == components.size()) {
    out->push_back(parts.prefix + path + parts.items);
    return true;
  }
  FsTarget directory;
  const std::string listed = path.empty() ? "." : path;
  bool found = false;
  EntryInfo entry;
  if (!statTyped(ctx, parts.prefix + listed + parts.items, &directory, &entry, &found))
    return false;
  if (!found || !entry.isDir) return true;
  std::string error;
  std::vector<EntryInfo> entries;
  if (!listDirectory(directory, &entries, &error)) return ctx.refuse(error);
  std::sort(entries.begin(), entries.end(),
            [](const EntryInfo& a, const EntryInfo& b) { return a.name < b.name; });
  for (const auto& e : entries) {
    if (fnmatch(components[i].c_str(), e.name.c_str(), 0) != 0) continue;
    if (i + 1 < components.size() && !e.isDir) continue;
    if (!expandFrom(ctx, parts, joinPath(path, e.name), components, i + 1, out)) return false;
  }
  return true;
}

// Which operands name paths on the Hadoop side.
bool isRemoteOperand(const std::string& command, size_t index, size_t count) {
  if (command == "put" || command == "copyFromLocal" || command == "appendToFile")
    return index + 1 == count;
  if (command == "get" || command == "copyToLocal" || command == "getmerge")
    return index + 1 < count;
  return true;
}

}  // namespace

bool expandGlobs(const CommandContext& ctx, std::vector<std::string>* args) {
  std::vector<std::string> result;
  for (size_t i = 0; i < args->size(); ++i) {
    const std::string& typed = (*args)[i];
    const bool format =
        ctx.line.command == "stat" && i == 0 && typed.find('%') != std::string::npos;
    const TypedParts parts = splitTyped(typed);
    if (format || typed == "-" || !isRemoteOperand(ctx.line.command, i, args->size()) ||
        !hasGlob(parts.path)) {
      result.push_back(typed);
      continue;
    }
    std::vector<std::string> patterns;
    if (!expandBraces(parts.path, &patterns))
      return ctx.refusePath(typed, "Illegal file pattern: unclosed '{'");
    std::vector<std::string> matches;
    for (const auto& pattern : patterns) {
      std::vector<std::string> components;
      for (size_t start = 0;;) {
        const size_t slash = pattern.find('/', start);
        components.push_back(pattern.substr(start, slash - start));
        if (slash == std::string::npos) break;
        start = slash + 1;
      }
      if (!hasGlob(pattern)) {
        // A literal alternative counts only when it names something.
        FsTarget target;
        EntryInfo entry;
        bool found = false;
        const std::string typedPath = parts.prefix + pattern + parts.items;
        if (!statTyped(ctx, typedPath, &target, &entry, &found)) return false;
        if (found) matches.push_back(typedPath);
        continue;
      }
      if (!expandFrom(ctx, parts, "", components, 0, &matches)) return false;
    }
    // Alternatives may name one path twice ("{a,a*}"); Hadoop lists it once.
    std::vector<std::string> unique;
    for (auto& m : matches)
      if (std::find(unique.begin(), unique.end(), m) == unique.end()) unique.push_back(m);
    matches = std::move(unique);
    if (matches.empty()) matches.push_back(typed);
    result.insert(result.end(), matches.begin(), matches.end());
  }
  *args = std::move(result);
  return true;
}

}  // namespace zohtool
