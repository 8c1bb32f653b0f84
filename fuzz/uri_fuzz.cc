// The URI parser: no crash on any text, and the round-trip invariant: the
// canonical text of a parsed URI parses back to the same URI, whose canonical
// text is the same again.
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz_input.h"
#include "uri_test_support.h"
#include "zob_uri.h"

namespace {

using UriPtr = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

void checkRoundTrip(ZoHadoopURI* uri, const std::string& from) {
  const std::string canonical = uri->getURIString().str();
  UriPtr again(getURIFromURIString(ZobString(canonical.c_str())));
  FUZZ_CHECK(again != nullptr, "'%s' gave '%s', which does not parse", from.c_str(),
             canonical.c_str());
  const std::string first = describeUri(uri);
  const std::string second = describeUri(again.get());
  FUZZ_CHECK(first == second, "'%s' -> '%s': %s != %s", from.c_str(), canonical.c_str(),
             first.c_str(), second.c_str());
  FUZZ_CHECK(again->getURIString().str() == canonical, "canonical text of '%s' moves",
             from.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  // A C text ends at its first NUL; the second half becomes a context.
  const std::string whole = in.rest();
  const std::string text = whole.substr(0, whole.find('\0'));
  const size_t cut = whole.find('\0');
  const std::string context =
      cut == std::string::npos ? std::string() : whole.substr(cut + 1).c_str();

  UriPtr uri(getURIFromURIString(ZobString(text.c_str())));
  if (uri) checkRoundTrip(uri.get(), text);
  UriPtr components(getHadoopURIFromComponents(ZobString(text.c_str())));
  if (components) {
    checkRoundTrip(components.get(), text);
    ZobString err;
    const std::string path = components->getPath().str();
    if (components->setContext(ZobString(context.c_str()), &err)) {
      FUZZ_CHECK(components->getPath().str() == path, "setContext changed the path");
      // A relative path cannot sit under an authority; the text makes it
      // absolute, so only absolute paths keep the invariant there. An empty
      // context on an empty path leaves nothing, which no text names.
      const bool empty = components->getURIString().length() == 0;
      if (!empty && (components->getScheme().length() == 0 || path.empty() || path[0] == '/')) {
        checkRoundTrip(components.get(), text + " in " + context);
      }
    } else {
      FUZZ_CHECK(err.length() > 0, "refused context '%s' without a reason", context.c_str());
    }
  }
  return 0;
}
