#include "zob_catalogue.h"

#include <cstring>
#include <string>

#include "catalogue_render.h"

namespace {

struct CatalogueEntry {
  int id;
  // Argument kinds in order: 's' a text (const char*), 'd' an int. The template
  // uses exactly these, as %s and %d.
  const char* kinds;
  const char* text;
};

constexpr int kMaxArgs = 3;

// The messages of the component "Hadoop Client".
const CatalogueEntry kHadoopClientMessages[] = {
    {29, "s", "Could not create or read %s."},
    {444, "", "Out of memory."},
    {446, "s", "The listing of HDFS path '%s' returned no entries row set."},
    {768, "d", "Could not add a row to a row set: status %d."},
    {1354, "sd", "%s failed with status %d."},
    {1420, "", "An item of the Hadoop URI could not be read."},
    {1725, "sds", "Proxy method '%s' failed on the Java side with error %d: %s"},
    {1726, "sd", "Proxy method '%s' could not be called: bridge status %d"},
};

const CatalogueEntry* findMessage(const char* component, int id) {
  if (component == nullptr || std::strcmp(component, ZOB_HADOOP_COMPONENT) != 0) {
    return nullptr;
  }
  for (const CatalogueEntry& entry : kHadoopClientMessages) {
    if (entry.id == id) return &entry;
  }
  return nullptr;
}

// The source of the last message is per thread, so that two threads rendering
// errors at once each see their own.
thread_local std::string lastFile;
thread_local int lastLine = 0;

// An argument fetched from the caller's list before rendering: only the kinds
// the table declares are ever read, so a template can never pull a value of the
// wrong type off the list.
struct Argument {
  char kind;
  const char* text;
  int number;
};

std::string renderTemplate(const char* text, const Argument* args, int count) {
  std::string out;
  int next = 0;
  for (const char* p = text; *p != '\0'; ++p) {
    if (p[0] == '%' && (p[1] == 's' || p[1] == 'd') && next < count &&
        args[next].kind == p[1]) {
      const Argument& a = args[next++];
      if (a.kind == 's') out += a.text != nullptr ? a.text : "(null)";
      else out += std::to_string(a.number);
      ++p;
    } else if (p[0] == '%' && p[1] == '%') {
      out += '%';
      ++p;
    } else {
      out += *p;
    }
  }
  return out;
}

}  // namespace

ZobString zobRenderCatalogueMessage(const char* component, int id, va_list args) {
  std::string prefix = "[" + std::string(component != nullptr ? component : "") + " " +
                       std::to_string(id) + "] ";
  const CatalogueEntry* entry = findMessage(component, id);
  if (entry == nullptr) {
    prefix += "Unknown message.";
    return ZobString(prefix.c_str(), prefix.size());
  }
  Argument fetched[kMaxArgs];
  int count = 0;
  va_list copy;
  va_copy(copy, args);
  for (const char* k = entry->kinds; *k != '\0' && count < kMaxArgs; ++k) {
    Argument& a = fetched[count++];
    a.kind = *k;
    a.text = nullptr;
    a.number = 0;
    if (*k == 's') a.text = va_arg(copy, const char*);
    else a.number = va_arg(copy, int);
  }
  va_end(copy);
  std::string text = prefix + renderTemplate(entry->text, fetched, count);
  return ZobString(text.c_str(), text.size());
}

ZobString zob_get_messagev(const char* file, int line, const char* component, int id,
                           va_list args) {
  lastFile = file != nullptr ? file : "";
  lastLine = line;
  return zobRenderCatalogueMessage(component, id, args);
}

ZobString zob_get_message(const char* file, int line, const char* component, int id,
                          ...) {
  va_list args;
  va_start(args, id);
  ZobString result = zob_get_messagev(file, line, component, id, args);
  va_end(args);
  return result;
}

void zobLastMessageSource(const char** file, int* line) {
  if (file != nullptr) *file = lastFile.c_str();
  if (line != nullptr) *line = lastLine;
}
