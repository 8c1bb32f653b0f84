// Configuration options of the platform: named sets of name/value options.
//
// zobGetConfigOptions("") is the platform's general set. A host fills it with
// setOption, or names a file in ZOB_CONFIG_OPTIONS_FILE whose lines
// "name=value" are loaded on first use ('#' starts a comment line; white space
// around names and values is trimmed). Option names compare without regard to
// letter case.
#pragma once

#include "zob_export.h"
#include "zob_string.h"

class ZOB_API ZobConfigOptions {
 public:
  virtual bool setOption(const ZobString& name, const ZobString& value) = 0;
  // Found: true with the value. `flags` is reserved (the library passes 0).
  virtual bool getOption(const ZobString& name, ZobString* value, int flags) = 0;
  virtual bool removeOption(const ZobString& name) = 0;
  // The option at `index` in name order; false when out of range. `expand` is
  // reserved.
  virtual bool getOptionAt(int index, ZobString* name, ZobString* value,
                           bool expand) = 0;
  virtual void clear() = 0;
  virtual int getOptionCount() = 0;
  // Ends a set made with zobCreateConfigOptions; the named sets are never
  // released.
  virtual void release() = 0;

 protected:
  ~ZobConfigOptions() = default;
};

// The option set of that name, made on first use; the caller does not own it.
ZOB_API ZobConfigOptions* zobGetConfigOptions(const ZobString& name);
// A new free-standing set, owned by the caller (release()).
ZOB_API ZobConfigOptions* zobCreateConfigOptions();
