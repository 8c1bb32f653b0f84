#include "zob_options.h"

#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "options_file.h"
#include "string_lines.h"
#include "zo_logger.h"

namespace {

// Options are short lines; a file far beyond these is not an options file.
constexpr std::size_t kMaxOptionsLine = 64 * 1024;
constexpr std::size_t kMaxOptionsBytes = 1024 * 1024;

class OptionSet final : public ZobConfigOptions {
 public:
  explicit OptionSet(bool owned) : owned_(owned) {}

  bool setOption(const ZobString& name, const ZobString& value) override {
    std::lock_guard<std::mutex> hold(mutex_);
    auto found = options_.find(name);
    // An existing option keeps the spelling of its name; only the value changes.
    if (found != options_.end()) found->second = value;
    else options_.emplace(name, value);
    return true;
  }

  bool getOption(const ZobString& name, ZobString* value, int /*flags*/) override {
    std::lock_guard<std::mutex> hold(mutex_);
    auto found = options_.find(name);
    if (found == options_.end()) return false;
    if (value != nullptr) *value = found->second;
    return true;
  }

  bool removeOption(const ZobString& name) override {
    std::lock_guard<std::mutex> hold(mutex_);
    return options_.erase(name) > 0;
  }

  bool getOptionAt(int index, ZobString* name, ZobString* value,
                   bool /*expand*/) override {
    std::lock_guard<std::mutex> hold(mutex_);
    if (index < 0 || static_cast<std::size_t>(index) >= options_.size()) return false;
    auto it = options_.begin();
    std::advance(it, index);
    if (name != nullptr) *name = it->first;
    if (value != nullptr) *value = it->second;
    return true;
  }

  void clear() override {
    std::lock_guard<std::mutex> hold(mutex_);
    options_.clear();
  }

  int getOptionCount() override {
    std::lock_guard<std::mutex> hold(mutex_);
    return static_cast<int>(options_.size());
  }

  // Named sets belong to the registry and outlive every caller.
  void release() override {
    if (owned_) delete this;
  }

 private:
  const bool owned_;
  std::mutex mutex_;
  std::map<ZobString, ZobString, ZobStringLessInsensitive> options_;
};

}  // namespace

// Lines "name=value"; the first '=' splits, so values may hold '='. Lines that
// are blank, start with '#', or have no name are skipped.
void zobLoadOptionsFile(const char* path, ZobConfigOptions* set) {
  std::vector<std::string> lines;
  std::string problem;
  if (!zobReadTextLines(path, kMaxOptionsLine, kMaxOptionsBytes, &lines, &problem)) {
    zologGetLogger("ZO.Platform.Options")
        ->logEvent(ZOLOG_WARNING, "runtime/options", __LINE__,
                   "Configuration options file '%s' (ZOB_CONFIG_OPTIONS_FILE) cannot "
                   "be used: %s; the general options start empty.",
                   path, problem.c_str());
    return;
  }
  for (const std::string& line : lines) {
    ZobString text(line.c_str(), line.size());
    text.trim(true, true);
    if (text.length() == 0 || text.asCstr()[0] == '#') continue;
    std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    ZobString name(line.c_str(), equals);
    ZobString value(line.c_str() + equals + 1, line.size() - equals - 1);
    name.trim(true, true);
    value.trim(true, true);
    if (name.length() == 0) continue;
    set->setOption(name, value);
  }
}

namespace {

struct Registry {
  std::mutex mutex;
  std::map<ZobString, std::unique_ptr<OptionSet>, ZobStringLessInsensitive> sets;
};

// Never freed: callers keep the sets for the life of the process.
Registry& registry() {
  static Registry* shared = new Registry;
  return *shared;
}

}  // namespace

ZobConfigOptions* zobGetConfigOptions(const ZobString& name) {
  Registry& r = registry();
  std::lock_guard<std::mutex> hold(r.mutex);
  ZobString key(name.asCstr());
  auto found = r.sets.find(key);
  if (found != r.sets.end()) return found->second.get();
  std::unique_ptr<OptionSet> set(new (std::nothrow) OptionSet(false));
  if (!set) return nullptr;
  if (key.length() == 0) {
    const char* path = std::getenv("ZOB_CONFIG_OPTIONS_FILE");
    if (path != nullptr && *path != '\0') zobLoadOptionsFile(path, set.get());
  }
  OptionSet* result = set.get();
  r.sets.emplace(key, std::move(set));
  return result;
}

ZobConfigOptions* zobCreateConfigOptions() { return new (std::nothrow) OptionSet(true); }
