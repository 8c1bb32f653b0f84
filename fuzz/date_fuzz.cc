// Dates: parsing any text, formatting any millisecond count, and the round trip
// of every text that parses.
#include <cstdint>
#include <string>

#include "fuzz_input.h"
#include "zob_date.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  ZobDate any;
  any.setMillis(in.int64());
  const std::string formatted = any.toString().str();
  ZobDate back;
  // Years 0 to 9999 are what the text form holds; those must come back.
  if (back.assign(formatted.c_str())) {
    FUZZ_CHECK(back.millis() == any.millis(), "%s", formatted.c_str());
  } else {
    FUZZ_CHECK(formatted[0] == '-' || formatted.size() > 24, "%s refused", formatted.c_str());
  }

  const std::string text = in.rest();
  ZobDate parsed;
  parsed.setMillis(7);
  if (parsed.assign(text.c_str())) {
    const std::string again = parsed.toString().str();
    ZobDate reparsed;
    FUZZ_CHECK(reparsed.assign(again.c_str()) && reparsed.millis() == parsed.millis(),
               "'%s' -> '%s'", text.c_str(), again.c_str());
  } else {
    FUZZ_CHECK(parsed.millis() == 7, "a refused text changed the date");
  }
  return 0;
}
