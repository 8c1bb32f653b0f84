// Text files of the platform: local files, and files of any other scheme read
// and written through a raw byte stream of the Hadoop client library.

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "zob_framework.h"
#include "zob_txtfile.h"
#include "zob_uri.h"

ZobIO::~ZobIO() = default;

namespace {

std::atomic<ZobRawIOFactory> g_rawIOFactory{nullptr};

// A stream that asks for its default buffer size and gets nothing sensible still
// needs some amount to read at a time.
constexpr int kFallbackReadSize = 16384;

void setError(ZobString* err, const std::string& text) {
  if (err) err->assign(text.c_str());
}

// Drops the "\r" of a "\r\n" ending; the "\n" is already gone.
void stripCarriageReturn(std::string* line) {
  if (!line->empty() && line->back() == '\r') line->pop_back();
}

// The lower-case scheme of a "scheme://" text, or empty for a plain path.
std::string uriScheme(const char* name) {
  const char* end = std::strstr(name, "://");
  if (!end || end == name) return std::string();
  std::string scheme;
  for (const char* c = name; c < end; ++c) {
    char ch = *c;
    bool letter = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
    bool other = (ch >= '0' && ch <= '9') || ch == '+' || ch == '-' || ch == '.';
    if (!letter && !(other && c != name)) return std::string();
    scheme += (ch >= 'A' && ch <= 'Z') ? static_cast<char>(ch - 'A' + 'a') : ch;
  }
  return scheme;
}

struct FileCloser {
  void operator()(std::FILE* f) const {
    if (f) std::fclose(f);
  }
};

struct FreeDeleter {
  void operator()(char* p) const { std::free(p); }
};

class LocalTxtFile final : public ZobTxtFile {
 public:
  LocalTxtFile(std::string path, ZobTxtFileOpenMode mode, std::FILE* file)
      : path_(std::move(path)), mode_(mode), file_(file) {}

  bool readLine(ZobString* line) override {
    error_.clear();
    if (!file_ || mode_ != ZOB_TXTFILE_READ) {
      return fail("Text file " + path_ + " is not open for reading");
    }
    char* raw = nullptr;
    size_t capacity = 0;
    errno = 0;
    ssize_t got = ::getline(&raw, &capacity, file_.get());
    std::unique_ptr<char, FreeDeleter> owned(raw);
    if (got < 0) {
      if (std::ferror(file_.get())) {
        return fail("Cannot read " + path_ + ": " + std::strerror(errno));
      }
      return false;
    }
    std::string text(raw, static_cast<size_t>(got));
    if (!text.empty() && text.back() == '\n') {
      text.pop_back();
      stripCarriageReturn(&text);
    }
    if (line) line->assign(text.data(), text.size());
    return true;
  }

  bool writeLine(const ZobString& line) override {
    error_.clear();
    if (!file_ || mode_ == ZOB_TXTFILE_READ) {
      return fail("Text file " + path_ + " is not open for writing");
    }
    size_t length = static_cast<size_t>(line.length());
    if (std::fwrite(line.asCstr(), 1, length, file_.get()) != length ||
        std::fputc('\n', file_.get()) == EOF) {
      return fail("Cannot write " + path_ + ": " + std::strerror(errno));
    }
    return true;
  }

  ZobString getErrorMessage() override { return ZobString(error_.c_str()); }

  bool close() override {
    error_.clear();
    if (!file_) return true;
    if (std::fclose(file_.release()) != 0) {
      return fail("Cannot close " + path_ + ": " + std::strerror(errno));
    }
    return true;
  }

  void release() override {
    close();
    delete this;
  }

 private:
  ~LocalTxtFile() = default;

  bool fail(const std::string& text) {
    error_ = text;
    return false;
  }

  std::string path_;
  ZobTxtFileOpenMode mode_;
  std::unique_ptr<std::FILE, FileCloser> file_;
  std::string error_;
};

struct RawIOReleaser {
  void operator()(ZobIORaw* raw) const {
    if (raw) raw->release();
  }
};

class RawTxtFile final : public ZobTxtFile {
 public:
  // The stream refers to the URI, so the URI is declared first and dies last.
  RawTxtFile(std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri,
             std::unique_ptr<ZobIORaw, RawIOReleaser> raw, ZobTxtFileOpenMode mode,
             int readSize, std::string name)
      : uri_(std::move(uri)),
        raw_(std::move(raw)),
        mode_(mode),
        readSize_(readSize > 0 ? readSize : kFallbackReadSize),
        name_(std::move(name)) {}

  bool readLine(ZobString* line) override {
    error_.clear();
    if (!open_ || mode_ != ZOB_TXTFILE_READ) {
      return fail("Text file " + name_ + " is not open for reading");
    }
    size_t newline;
    while ((newline = pending_.find('\n', scanned_)) == std::string::npos) {
      scanned_ = pending_.size();
      if (atEnd_) break;
      const char* data = nullptr;
      int got = raw_->getBytes(&data, 1, readSize_);
      if (got < 0) return fail(raw_->getErrorMessage().str());
      if (got == 0) {
        atEnd_ = true;
        break;
      }
      pending_.append(data, static_cast<size_t>(got));
    }
    std::string text;
    if (newline == std::string::npos) {
      if (pending_.empty()) return false;
      text.swap(pending_);
    } else {
      text = pending_.substr(0, newline);
      pending_.erase(0, newline + 1);
      stripCarriageReturn(&text);
    }
    scanned_ = 0;
    if (line) line->assign(text.data(), text.size());
    return true;
  }

  bool writeLine(const ZobString& line) override {
    error_.clear();
    if (!open_ || mode_ == ZOB_TXTFILE_READ) {
      return fail("Text file " + name_ + " is not open for writing");
    }
    std::string text(line.asCstr(), static_cast<size_t>(line.length()));
    text += '\n';
    size_t done = 0;
    while (done < text.size()) {
      int put = raw_->putBytes(text.data() + done, static_cast<int>(text.size() - done));
      if (put < 0) return fail(raw_->getErrorMessage().str());
      if (put == 0) return fail("Cannot write " + name_ + ": the stream took no bytes");
      done += static_cast<size_t>(put);
    }
    return true;
  }

  ZobString getErrorMessage() override { return ZobString(error_.c_str()); }

  bool close() override {
    error_.clear();
    if (!open_) return true;
    open_ = false;
    if (!raw_->close()) return fail(raw_->getErrorMessage().str());
    return true;
  }

  void release() override {
    close();
    delete this;
  }

 private:
  ~RawTxtFile() = default;

  bool fail(const std::string& text) {
    error_ = text.empty() ? "Text file " + name_ + " failed" : text;
    return false;
  }

  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri_;
  std::unique_ptr<ZobIORaw, RawIOReleaser> raw_;
  ZobTxtFileOpenMode mode_;
  int readSize_;
  std::string name_;
  bool open_ = true;
  bool atEnd_ = false;
  std::string pending_;    // bytes read but not yet handed out as lines
  size_t scanned_ = 0;     // how much of pending_ is known to hold no "\n"
  std::string error_;
};

ZobTxtFile* openLocal(const std::string& path, ZobTxtFileOpenMode mode, int bufferSize,
                      ZobString* err) {
  const char* how = mode == ZOB_TXTFILE_READ ? "rb" : mode == ZOB_TXTFILE_WRITE ? "wb" : "ab";
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), how));
  if (!file) {
    setError(err, "Cannot open " + path + ": " + std::strerror(errno));
    return nullptr;
  }
  // Reading a directory opens fine and fails only at the first read.
  struct stat st;
  if (fstat(fileno(file.get()), &st) == 0 && S_ISDIR(st.st_mode)) {
    setError(err, "Cannot open " + path + ": " + std::strerror(EISDIR));
    return nullptr;
  }
  if (bufferSize > 0) std::setvbuf(file.get(), nullptr, _IOFBF, static_cast<size_t>(bufferSize));
  auto* txt = new (std::nothrow) LocalTxtFile(path, mode, file.get());
  if (!txt) {
    setError(err, "Cannot open " + path + ": out of memory");
    return nullptr;
  }
  file.release();
  return txt;
}

ZobTxtFile* openRaw(const char* name, ZobTxtFileOpenMode mode, int openFlags,
                    int bufferSize, ZobString* err) {
  std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri(getURIFromURIString(ZobString(name)));
  if (!uri) {
    setError(err, std::string("Cannot open ") + name + ": not a valid URI");
    return nullptr;
  }
  // Only a process that loaded the Hadoop client library has one: the library
  // registers it when it is loaded.
  ZobRawIOFactory factory = g_rawIOFactory.load();
  if (!factory) {
    setError(err, std::string("Cannot open ") + name + ": no stream for its scheme");
    return nullptr;
  }
  ZobString streamErr;
  std::unique_ptr<ZobIORaw, RawIOReleaser> raw(factory(uri.get(), &streamErr));
  if (!raw) {
    setError(err, streamErr.length() ? streamErr.str()
                                     : std::string("Cannot open ") + name);
    return nullptr;
  }
  int size = bufferSize;
  int reserved = 0;
  if (!raw->open(mode, openFlags, &size, &reserved)) {
    ZobString why = raw->getErrorMessage();
    setError(err, why.length() ? why.str() : std::string("Cannot open ") + name);
    return nullptr;
  }
  auto* txt = new (std::nothrow) RawTxtFile(std::move(uri), std::move(raw), mode, size, name);
  if (!txt) {
    raw->close();
    setError(err, std::string("Cannot open ") + name + ": out of memory");
    return nullptr;
  }
  return txt;
}

}  // namespace

void zobTxtFileSetRawIOFactory(ZobRawIOFactory factory) { g_rawIOFactory.store(factory); }

void zobTxtFileUnsetRawIOFactory(ZobRawIOFactory factory) {
  g_rawIOFactory.compare_exchange_strong(factory, nullptr);
}

ZobTxtFile* zobTxtFileOpen(const char* name, ZobTxtFileOpenMode mode, int openFlags,
                           int bufferSize, ZobString* err) {
  if (!name || !*name) {
    setError(err, "Cannot open a text file without a name");
    return nullptr;
  }
  if (mode != ZOB_TXTFILE_READ && mode != ZOB_TXTFILE_WRITE && mode != ZOB_TXTFILE_APPEND) {
    setError(err, std::string("Cannot open ") + name + ": unknown open mode");
    return nullptr;
  }
  try {
    std::string scheme = uriScheme(name);
    ZobTxtFile* file = nullptr;
    if (scheme.empty()) {
      file = openLocal(name, mode, bufferSize, err);
    } else if (scheme == "file") {
      std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter> uri(
          getURIFromURIString(ZobString(name)));
      if (!uri) {
        setError(err, std::string("Cannot open ") + name + ": not a valid URI");
        return nullptr;
      }
      file = openLocal(uri->getPath().str(), mode, bufferSize, err);
    } else {
      file = openRaw(name, mode, openFlags, bufferSize, err);
    }
    if (file && err) err->setNull(false);
    return file;
  } catch (const std::bad_alloc&) {
    setError(err, std::string("Cannot open ") + name + ": out of memory");
    return nullptr;
  }
}
