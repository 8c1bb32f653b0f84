// An HDFS of a few files and directories held in memory, answering the file and
// listing methods of the scripted bridge the way the Java side does. Tests and
// the host test drive the adapters against it and then look at what it holds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "scripted_bridge.h"

class MemoryHdfs {
 public:
  struct OpenFile {
    std::string path;
    int modeCode;
    size_t position;
  };

  std::map<std::string, std::string> files;  // path -> content
  std::set<std::string> directories;
  // Most bytes a read answers, in turn (the last one repeats); empty: as asked.
  std::vector<int> readLimits;
  // Byte counts of the writes received, in order.
  std::vector<int> writes;
  std::map<int64_t, OpenFile> open;
  std::string modDate = "2026-11-22T08:15:30.250Z";

  // Installs the handlers; they keep pointing at this object.
  void install(ScriptedBridge& bridge) {
    // Configurations and services are Java objects of their own, released apart.
    bridge.handle("CreateConfig", [this](ScriptedCallContext&) { return newObject(); });
    bridge.handle("CreateHDFS", [this](ScriptedCallContext&) { return newObject(); });
    bridge.handle("HDFSOpenFile", [this](ScriptedCallContext& c) { return openFile(c); });
    bridge.handle("HDFSFileRead", [this](ScriptedCallContext& c) { return read(c); });
    bridge.handle("HDFSFileWrite", [this](ScriptedCallContext& c) { return write(c); });
    bridge.handle("HDFSFileClose", [this](ScriptedCallContext& c) { return close(c); });
    bridge.handle("HDFSListDir", [this](ScriptedCallContext& c) { return list(c); });
  }

  // The stats rows of one entry.
  StringTable stats(const std::string& path, bool bareName) const {
    const bool isDir = directories.count(path) != 0;
    const std::string name = bareName ? path.substr(path.rfind('/') + 1) : path;
    StringTable rows{{std::nullopt, name}};
    rows.push_back({"Size", std::to_string(isDir ? 0 : files.at(path).size())});
    if (isDir) rows.push_back({"IsDir", "true"});
    rows.push_back({"Permissions", isDir ? "493" : "420"});
    rows.push_back({"ModDate", modDate});
    return rows;
  }

 private:
  ScriptedAnswer newObject() {
    return ScriptedAnswer::outputs({ScriptedValue::ofObject(nextHandle_++)});
  }

  ScriptedAnswer openFile(ScriptedCallContext& c) {
    const std::string path = c.call().inputs[1].str;
    const int modeCode = c.call().inputs[2].integer;
    if (modeCode == 0 && files.count(path) == 0) {
      return ScriptedAnswer::javaError(2, "File does not exist: " + path);
    }
    if (modeCode == 1) files[path].clear();
    if (modeCode == 2) files[path];
    const int64_t handle = nextHandle_++;
    open[handle] = OpenFile{path, modeCode, 0};
    return ScriptedAnswer::outputs({ScriptedValue::ofObject(handle),
                                    ScriptedValue::ofStringRows(stats(path, false), 2)});
  }

  ScriptedAnswer read(ScriptedCallContext& c) {
    auto it = open.find(c.call().inputs[0].object);
    if (it == open.end()) return ScriptedAnswer::javaError(9, "Stream closed");
    const std::string& content = files[it->second.path];
    size_t n = static_cast<size_t>(std::max(0, c.call().inputs[1].integer));
    if (!readLimits.empty()) {
      const size_t turn = std::min(reads_++, readLimits.size() - 1);
      n = std::min(n, static_cast<size_t>(readLimits[turn]));
    }
    const size_t at = std::min(it->second.position, content.size());
    n = std::min(n, content.size() - at);
    it->second.position = at + n;
    return ScriptedAnswer::outputs({ScriptedValue::ofBytes(content.substr(at, n))});
  }

  ScriptedAnswer write(ScriptedCallContext& c) {
    auto it = open.find(c.call().inputs[0].object);
    if (it == open.end()) return ScriptedAnswer::javaError(9, "Stream closed");
    if (it->second.modeCode == 0) return ScriptedAnswer::javaError(10, "Opened for reading");
    files[it->second.path] += c.call().inputs[1].str;
    writes.push_back(static_cast<int>(c.call().inputs[1].str.size()));
    return ScriptedAnswer::outputs({});
  }

  ScriptedAnswer close(ScriptedCallContext& c) {
    if (open.erase(c.call().inputs[0].object) == 0) {
      return ScriptedAnswer::javaError(9, "Stream closed");
    }
    return ScriptedAnswer::outputs({});
  }

  ScriptedAnswer list(ScriptedCallContext& c) {
    const std::string dir = c.call().inputs[1].str;
    if (directories.count(dir) == 0) {
      return ScriptedAnswer::javaError(2, "Not a directory: " + dir);
    }
    StringTable rows;
    auto add = [&](const std::string& path) {
      if (path.size() <= dir.size() + 1 || path.compare(0, dir.size() + 1, dir + "/") != 0) {
        return;
      }
      if (path.find('/', dir.size() + 1) != std::string::npos) return;
      for (auto& row : stats(path, true)) rows.push_back(row);
    };
    for (const std::string& d : directories) add(d);
    for (const auto& [path, content] : files) add(path);
    return ScriptedAnswer::outputs({ScriptedValue::ofStringRows(rows, 2)});
  }

  int64_t nextHandle_ = 9000;
  size_t reads_ = 0;
};
