// The stats rows of HDFS entries, as the Java side could send them, walked
// through a listing that the scripted bridge answers, as a platform walks a
// directory.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "fuzz_input.h"
#include "scripted_bridge.h"

namespace {

const char* const kWords[] = {"IsDir", "ModDate", "Permissions", "Size",
                              "1969-12-31T23:59:59.999Z", "0001-01-01T00:00:00Z",
                              "9999-12-31T23:59:59.999Z", "-1", "9223372036854775808"};

ScriptedValue cell(FuzzInput& in, int32_t type) {
  const uint8_t how = in.byte();
  if (how % 5 == 0) return ScriptedValue::ofNull(type);
  switch (type) {
    case WLP_TYPE_STRING:
      return ScriptedValue::ofString(how % 5 == 1 ? in.text(40)
                                                  : kWords[how / 5 % (sizeof kWords / sizeof *kWords)]);
    case WLP_TYPE_INT:
      return ScriptedValue::ofInt(in.int32());
    case WLP_TYPE_BOOL:
      return ScriptedValue::ofBool(how & 0x80);
    case WLP_TYPE_OBJECT:
      return ScriptedValue::ofObject(in.int64());
    default:
      return ScriptedValue::ofBytes(in.text(16));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  static const int32_t kColumnTypes[] = {WLP_TYPE_STRING, WLP_TYPE_STRING, WLP_TYPE_STRING,
                                         WLP_TYPE_INT,    WLP_TYPE_BOOL,   WLP_TYPE_OBJECT,
                                         WLP_TYPE_BYTES};
  const int columns = 1 + in.byte() % 3;
  std::string types;
  for (int c = 0; c < columns; ++c) types += static_cast<char>(kColumnTypes[in.byte() % 7]);
  std::vector<std::vector<ScriptedValue>> rows;
  while (!in.empty() && rows.size() < 64) {
    std::vector<ScriptedValue> row;
    for (int c = 0; c < columns; ++c) row.push_back(cell(in, static_cast<unsigned char>(types[c])));
    rows.push_back(std::move(row));
  }

  // The rows through a listing: each next() reads one entry with getStats.
  ScriptedBridge& bridge = ScriptedBridge::instance();
  bridge.reset();
  ZobString err;
  bridge.answer("CreateConfig", ScriptedAnswer::outputs({ScriptedValue::ofObject(40)}));
  bridge.answer("CreateHDFS", ScriptedAnswer::outputs({ScriptedValue::ofObject(500)}));
  bridge.answer("HDFSListDir",
                ScriptedAnswer::outputs({ScriptedValue::ofRows(types, rows)}));
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  FUZZ_CHECK(hadoop != nullptr, "no instance");
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  FUZZ_CHECK(cfg != nullptr, "no configuration: %s", err.asCstr());
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  FUZZ_CHECK(hdfs != nullptr, "no service: %s", err.asCstr());
  ZOHadoopDirectory* dir = hdfs->openDir(nullptr, "/d", &err);
  if (dir != nullptr) {
    ZobString name;
    long entrySize = 0;
    ZobDate date;
    unsigned long millis = 0;
    bool isDir = false, readOnly = false;
    int entries = 0;
    while (dir->next(&name, &entrySize, &date, &millis, &isDir, &readOnly, &err)) {
      FUZZ_CHECK(++entries <= static_cast<int>(rows.size()), "more entries than rows");
      // asDouble() * 1000 may round the last millisecond, never more.
      const long long off = static_cast<long long>(millis - static_cast<unsigned long>(date.millis()));
      FUZZ_CHECK(off >= -1 && off <= 1, "millis %lu for %s", millis, date.toString().asCstr());
    }
    dir->release();
  }
  hdfs->release();
  cfg->release();
  hadoop->release();
  return 0;
}
