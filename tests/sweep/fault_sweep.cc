// Fault sweep: every public operation runs once against a healthy Java side,
// which numbers the points where the Java side or the wire can fail; then again
// once per point and way of failing. After every run: the failing operation said
// so with a text, every object could still be released, and no proxy or wire
// object was left (the sanitizer build adds leaks and uses after free). Wire
// reads and adds are seen through linker wraps, so the counts are what the
// library really did.
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopIO.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "end_to_end.h"
#include "java_side.h"
#include "zob_uri.h"
#include "zowlp.h"

namespace {

enum Point { kCreate, kCall, kRowSet, kAddRow, kReadRow, kPoints };
const char* const kPointNames[kPoints] = {"proxy creation", "call", "row-set creation",
                                          "row add", "row read"};
const char* const kCallWays[] = {"Java error", "status 3", "status 4 without response",
                                 "no response", "unreadable response"};
// A creation fails with the Java side's reason, or with none given.
const int kWays[kPoints] = {2, 5, 1, 1, 1};

struct Event {
  Point point;
  int ordinal;  // among the events of its kind in one run
  int step;     // the operation it happened in
  std::string what;       // method or proxy name
  std::string signature;  // calls: the output signature
};

// One run's bookkeeping; the wraps and the bridge's scripts reach it.
struct Sweep {
  bool clean = true;
  int count[kPoints] = {};
  int responseReads = 0;
  std::vector<Event> events;  // clean run only
  Point faultPoint = kCall;
  int faultOrdinal = -1;
  int way = 0;
  bool hit = false;
  int step = -1;
  std::map<const zowlpRowSet*, int> cursors;  // rows read of each output row set
} g;

thread_local int t_inBridge = 0;  // the bridge builds its answers with the same wire
struct InBridge {
  InBridge() { ++t_inBridge; }
  ~InBridge() { --t_inBridge; }
};

bool reach(Point point, const std::string& what = "", const std::string& signature = "") {
  const int ordinal = g.count[point]++;
  if (g.clean) {
    g.events.push_back({point, ordinal, g.step, what, signature});
    return false;
  }
  if (point != g.faultPoint || ordinal != g.faultOrdinal) return false;
  g.hit = true;
  return true;
}

ScriptedAnswer answerCall(ScriptedCallContext& context) {
  const ScriptedCall& call = context.call();
  if (!reach(kCall, call.method, call.signature)) return zohsweep::healthyAnswer(context);
  switch (g.way) {
    case 0: return ScriptedAnswer::javaError(7, "injected Java failure");
    case 1: return ScriptedAnswer::status(ZOJNI_ERR_NO_METHOD);
    case 2: return ScriptedAnswer::status(ZOJNI_ERR_JAVA);
    case 3: return ScriptedAnswer::noResponse();
    default:
      return ScriptedAnswer::unreadable(
          WLP_ERR_MEMORY, zohsweep::healthyOutputs(call.method, call.signature));
  }
}

int answerCreate(ScriptedCreateContext& context) {
  context.askOption("JAVA_PROXY/DIRECTORY");
  context.askOption("JAVA_PROXY/HAS_GETVERSION");
  if (!reach(kCreate, context.creation().proxyName)) return ZOJNI_OK;
  if (g.way == 0) context.report(2, "injected: proxy class not found");
  return ZOJNI_ERR_CREATE;
}

}  // namespace

extern "C" {
int __real_zojniProxyCall(zojniProxy*, ZoJniPollRecord*, const char*, const char*,
                          const char*, int, zowlpParameter*, zowlpResponse**);
zowlpRowSet* __real_zojniProxyRowSetCreate(zojniProxy*, const char*);
int __real_zowlpRowSet_addRow(zowlpRowSet*, zowlpParameter*);
int __real_zowlpRowSet_nextRow(const zowlpRowSet*, zowlpParameter**);
int __real_zowlpResponse_parameters(zowlpResponse*, int*, zowlpParameter**);

int __wrap_zojniProxyCall(zojniProxy* proxy, ZoJniPollRecord* poll, const char* name,
                          const char* method, const char* signature, int count,
                          zowlpParameter* params, zowlpResponse** response) {
  InBridge inside;
  return __real_zojniProxyCall(proxy, poll, name, method, signature, count, params, response);
}

zowlpRowSet* __wrap_zojniProxyRowSetCreate(zojniProxy* proxy, const char* columnTypes) {
  if (reach(kRowSet)) return nullptr;
  InBridge inside;
  return __real_zojniProxyRowSetCreate(proxy, columnTypes);
}

int __wrap_zowlpRowSet_addRow(zowlpRowSet* rows, zowlpParameter* row) {
  if (t_inBridge == 0 && reach(kAddRow)) {
    zowlpRowSet_testFailAddRowAt(rows, zowlpRowSet_getRows(rows), WLP_ERR_MEMORY);
  }
  return __real_zowlpRowSet_addRow(rows, row);
}

int __wrap_zowlpRowSet_nextRow(const zowlpRowSet* rows, zowlpParameter** row) {
  if (t_inBridge == 0) {
    int& cursor = g.cursors[rows];
    if (reach(kReadRow)) {
      zowlpRowSet_testFailNextRowAt(const_cast<zowlpRowSet*>(rows), cursor, WLP_ERR_MEMORY);
    }
    ++cursor;
  }
  return __real_zowlpRowSet_nextRow(rows, row);
}

int __wrap_zowlpResponse_parameters(zowlpResponse* response, int* count,
                                    zowlpParameter** records) {
  const int status = __real_zowlpResponse_parameters(response, count, records);
  if (t_inBridge == 0) {
    ++g.responseReads;
    for (int i = 0; status == WLP_OK && i < *count; ++i) {
      const zowlpParameter& out = (*records)[i];
      if (out.type == WLP_TYPE_ROWSET && out.present) g.cursors[out.value.rowSet] = 0;
    }
  }
  return status;
}
}  // extern "C"

namespace {

struct Step {
  std::string name;
  bool checked;  // reports failure as false plus a text (release, clear: no report)
  bool failed = false;
  bool textless = false;  // failed without a text
};

struct Run {
  std::vector<Step> steps;
  std::vector<std::string> findings;

  void begin(const char* name, bool checked) {
    g.step = static_cast<int>(steps.size());
    steps.push_back({name, checked});
  }
  // An operation that reports failure: false or null with a text. A text written
  // by an operation that then succeeds is an error swallowed on the way.
  template <class F>
  auto op(const char* name, F body) {
    begin(name, true);
    ZobString err;
    auto result = body(&err);
    steps.back().failed = !result;
    steps.back().textless = !result && err.length() == 0;
    if (result && !err.isNull()) findings.push_back(std::string(name) + ": succeeded with the text " + err.str());
    return result;
  }
  template <class F>
  void quiet(const char* name, F body) {
    begin(name, false);
    body();
  }
};

// Releases what an operation made when the scenario's scope ends, children
// before their instance, whatever failed on the way.
template <class T>
auto held(Run& run, const char* releaseStep, T* object) {
  auto release = [&run, releaseStep](T* o) { run.quiet(releaseStep, [o] { o->release(); }); };
  return std::unique_ptr<T, decltype(release)>(object, release);
}

using UriOwner = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

// One checked step whose body is an expression over `e`, the error argument.
#define OP(name, expr) r.op(name, [&](ZobString* e) { return expr; })
// The instance and configuration every service scenario starts from.
#define INSTANCE_AND_CONFIGURATION()                                                      \
  auto h = held(r, "instance release", OP("zoHadoopCreate", zoHadoopCreate(e)));        \
  if (!h) return;                                                                       \
  auto cfg = held(r, "configuration release",                                           \
                  OP("createConfiguration", h->createConfiguration(e)));                \
  if (!cfg) return

void instanceAndConfiguration(Run& r) {
  INSTANCE_AND_CONFIGURATION();
  const ZobString keys[] = {"fs.defaultFS", "dfs.replication"}, values[] = {"hdfs://nn", "2"};
  OP("setKeyValue", cfg->setKeyValue(keys[1], values[1], e));
  OP("setKeyValues", cfg->setKeyValues(2, keys, values, e));
  OP("addResourceFile", cfg->addResourceFile("/etc/core-site.xml", e));
  OP("addResourceFiles", cfg->addResourceFiles(2, keys, e));
  OP("setUserPass", cfg->setUserPass("alice", "secret", e));
  UriOwner uri(getURIFromURIString("hdfs://alice@nn:8020/data/a.txt"));
  auto fromUri = held(r, "configuration release",
                            OP("createConfiguration(uri)", h->createConfiguration(uri.get(), e)));
}

void hdfsService(Run& r) {
  INSTANCE_AND_CONFIGURATION();
  auto fs = held(r, "HDFS release", OP("createHDFS", h->createHDFS(cfg.get(), e)));
  if (!fs) return;
  bool answer = false;
  OP("rename", fs->rename(nullptr, "/a", "/b", e));
  OP("copyFromLocal", fs->copyFromLocal(nullptr, "/tmp/l", false, "/a", true, e));
  OP("copyToLocal", fs->copyToLocal(nullptr, "/a", false, "/tmp/l", true, e));
  OP("deleteFile", fs->deleteFile(nullptr, "/a", e));
  OP("exists", fs->exists(nullptr, "/a", &answer, e));
  OP("makeDirectory", fs->makeDirectory(nullptr, "/d", e));
  {
    auto dir = held(r, "directory release", OP("openDir", fs->openDir(nullptr, "/d", e)));
    if (dir) OP("directory walk", e2e::walk(dir.get(), e));
    if (dir) OP("directory close", dir->close(e));
  }
  auto in = held(r, "file release",
                        OP("openFile(read)", fs->openFile(nullptr, "/a", ZOB_TXTFILE_READ, 0, 0, e)));
  const char* data = nullptr;
  if (in) OP("file read", in->getSize() >= 0 && in->read(nullptr, &data, 64, e) >= 0);
  if (in) OP("file close", in->close(e));
  // Released without close: the destructor ends the Java side's file itself.
  auto out = held(r, "file release",
                         OP("openFile(write)", fs->openFile(nullptr, "/w", ZOB_TXTFILE_WRITE, 0, 0, e)));
  if (out) OP("file write", out->write(nullptr, "abc", 3, e));
}

// The adapters keep their text for getErrorMessage(); a step reads it on failure.
template <class A>
bool adapterResult(bool ok, A* adapter, ZobString* err) {
  if (!ok) *err = adapter->getErrorMessage();
  return ok;
}

void rawStream(Run& r) {
  UriOwner uri(getURIFromURIString("hdfs://nn:8020/data/a.txt"));
  for (ZobTxtFileOpenMode mode : {ZOB_TXTFILE_READ, ZOB_TXTFILE_WRITE}) {
    auto raw = held(r, "raw release", OP("createRawIO", createRawIO(uri.get(), e)));
    int bufferSize = 0;
    const char* data = nullptr;
    if (!raw || !OP("raw open", adapterResult(raw->open(mode, 0, &bufferSize, nullptr), raw.get(), e))) {
      continue;
    }
    if (mode == ZOB_TXTFILE_READ) {
      OP("raw getBytes", adapterResult(raw->getBytes(&data, 1, 64) >= 0, raw.get(), e));
      OP("raw size", adapterResult(raw->size() >= 0, raw.get(), e));
    } else {
      OP("raw putBytes", adapterResult(raw->putBytes("abc", 3) == 3, raw.get(), e));
    }
    OP("raw close", adapterResult(raw->close(), raw.get(), e));
  }
}

bool walk(ZobDirectoryListing* list, ZobString* err) {
  while (list->next()) list->getName();
  // next() is false at the end as on failure; only a text tells them apart.
  return adapterResult(list->getErrorMessage().length() == 0, list, err);
}

void directoryListing(Run& r) {
  UriOwner uri(getURIFromURIString("hdfs://nn:8020/data"));
  auto list = held(r, "listing release",
                                 OP("createDirectoryListing", createDirectoryListing(nullptr, uri.get(), 0, e)));
  if (list) OP("listing walk", walk(list.get(), e));
}

void mapReduce(Run& r) {
  INSTANCE_AND_CONFIGURATION();
  auto job = held(r, "MapReduce release", OP("createMapReduce", h->createMapReduce(cfg.get(), e)));
  if (!job) return;
  e2e::Texts text;
  OP("job setProperty", job->setProperty("HADOOP_MAPREDUCE_CLASS_COMBINER", "C", e));
  OP("job addInputPath", job->addInputPath("/in", e));
  OP("job addJar", job->addJar("/j.jar", e));
  auto props = held(r, "cursor release", OP("getPropertyList", job->getPropertyList(e)));
  OP("job run", job->run(nullptr, &text, true, e));
  OP("job stop", job->stop(nullptr, e));
}

void pig(Run& r) {
  INSTANCE_AND_CONFIGURATION();
  auto client = held(r, "Pig release", OP("createPig", h->createPig(cfg.get(), "", e)));
  if (!client) return;
  e2e::Texts text;
  OP("pig setParameter", client->setParameter("in", "/in", e));
  OP("pig registerJar", client->registerJar("/udf.jar", e));
  OP("pig runCommands", client->runCommands(nullptr, &text, "A = LOAD '$in';", nullptr, e));
  OP("pig stop", client->stop(nullptr, e));
  r.quiet("pig clear", [&] { client->clear(); });
  OP("pig runCommands again", client->runCommands(nullptr, nullptr, "B = LOAD 'x';", nullptr, e));
}

// The instance ends the children still registered when it holds its proxy.
void teardownByInstance(Run& r) {
  auto h = held(r, "instance release with children", OP("zoHadoopCreate", zoHadoopCreate(e)));
  if (!h || !OP("setProperty", h->setProperty("PIG_JAVA_PROXY_DIR_NAME", "/p", e))) return;
  ZOHadoopCfg* cfg = OP("createConfiguration", h->createConfiguration(e));
  if (!cfg) return;
  OP("createHDFS", h->createHDFS(cfg, e));
  OP("createMapReduce", h->createMapReduce(cfg, e));
  OP("createPig", h->createPig(cfg, "", e));
}

struct Operation {
  const char* name;
  void (*scenario)(Run&);
};
const Operation kOperations[] = {
    {"instance and configuration", instanceAndConfiguration},
    {"HDFS service, directory and files", hdfsService},
    {"raw I/O adapter", rawStream},
    {"directory listing adapter", directoryListing},
    {"MapReduce job", mapReduce},
    {"Pig client", pig},
    {"instance release ending its children", teardownByInstance},
};

// Failures the library answers with success on purpose.
bool acceptedSuccess(const Event& event, int way) {
  if (event.point != kCall) return false;
  const std::string& m = event.what;
  // Releases run from destructors: a failure there is logged and passed over.
  if (m == "CfgRelease" || m == "HDFSRelease" || m == "MapReduceRelease" || m == "Release") {
    return true;
  }
  const bool missing = way == 3 || way == 4;  // no response, or one that cannot be read
  // With no outputs there is nothing to miss; an unreadable answer to a yes/no
  // question is a "no"; a job's start text is optional and a wait that brings
  // nothing back counts as done; a Pig run without a response leaves the
  // previous run to wait on.
  if (missing && (event.signature.empty() || m == "HDFSExists" || m == "HDFSMKDIR" ||
                  m == "HDFSDelete" || m == "MapReduceRun" || m == "MapReduceWait" ||
                  m == "Wait")) {
    return true;
  }
  return m == "RunCommands" && way == 3;
}

// One run of `op`; the fault is whatever `g` says. Returns the run's steps and
// puts what went wrong into `problems`.
std::vector<Step> runOnce(const Operation& op, std::vector<std::string>* problems) {
  ScriptedBridge& bridge = ScriptedBridge::instance();
  bridge.reset();
  bridge.answerUnscripted(ScriptedAnswer::from(answerCall));
  bridge.onCreate(ScriptedCreateScript::from(answerCreate));
  for (int& c : g.count) c = 0;
  g.responseReads = 0;
  g.hit = false;
  g.step = -1;
  g.cursors.clear();
  const int proxies = bridge.liveProxies();
  const int wire = zowlpTestLiveObjects();
  Run run;
  op.scenario(run);
  if (bridge.liveProxies() != proxies) run.findings.push_back("Java proxies left alive");
  if (zowlpTestLiveObjects() != wire) run.findings.push_back("wire objects left alive");
  for (std::string& f : run.findings) problems->push_back(std::move(f));
  return run.steps;
}

// What went wrong in the run that failed `event` the `way`th way.
std::vector<std::string> judge(const std::vector<Step>& clean, const std::vector<Step>& steps,
                               const Event& event, int way) {
  std::vector<std::string> out;
  const size_t at = static_cast<size_t>(event.step);
  // A creation that fails without a reason leaves the error text as it was.
  const bool silent = event.point == kCreate && way == 1;
  for (size_t i = 0; i < steps.size(); ++i) {
    if (steps[i].textless && !(silent && i == at)) out.push_back(steps[i].name + " failed without a text");
  }
  if (!g.hit) {
    out.push_back("the fault was never reached");
  } else if (clean[at].checked && !acceptedSuccess(event, way) && (at >= steps.size() || !steps[at].failed)) {
    out.push_back(clean[at].name + " reported success");
  }
  return out;
}

}  // namespace

int main() {
  int total[kPoints] = {}, points = 0, runs = 0, responseReads = 0;
  std::vector<std::string> problems;
  for (const Operation& op : kOperations) {
    g = Sweep{};
    const std::vector<Step> clean = runOnce(op, &problems);
    ++runs;
    for (const Step& s : clean) {
      if (s.failed) problems.push_back(std::string(op.name) + ": clean run: " + s.name + " failed");
    }
    const std::vector<Event> events = g.events;
    std::printf("%-38s %2d creations %2d calls %2d row sets %2d adds %2d row reads %2d response reads\n",
                op.name, g.count[kCreate], g.count[kCall], g.count[kRowSet], g.count[kAddRow],
                g.count[kReadRow], g.responseReads);
    for (int k = 0; k < kPoints; ++k) total[k] += g.count[k];
    responseReads += g.responseReads;
    points += static_cast<int>(events.size());
    g.clean = false;
    for (const Event& event : events) {
      for (int way = 0; way < kWays[event.point]; ++way) {
        g.faultPoint = event.point;
        g.faultOrdinal = event.ordinal;
        g.way = way;
        std::vector<std::string> found;
        const std::vector<Step> steps = runOnce(op, &found);
        ++runs;
        for (const std::string& p : judge(clean, steps, event, way)) found.push_back(p);
        const char* wayName = event.point == kCall     ? kCallWays[way]
                              : event.point == kCreate ? (way == 0 ? "with a reason" : "silently")
                                                       : "fails";
        for (const std::string& p : found) {
          problems.push_back(std::string(op.name) + ": " + kPointNames[event.point] + " #" +
                             std::to_string(event.ordinal + 1) + " " + event.what + " (" + wayName +
                             ", in " + clean[static_cast<size_t>(event.step)].name + "): " + p);
        }
      }
    }
  }
  std::printf("fault sweep: %zu operations, %d fault points (%d proxy creations, %d calls, %d row sets,"
              " %d row adds, %d row reads; %d response reads fail through the calls), %d runs,"
              " %zu findings\n", sizeof(kOperations) / sizeof(kOperations[0]), points,
              total[kCreate], total[kCall], total[kRowSet], total[kAddRow], total[kReadRow],
              responseReads, runs, problems.size());
  for (const std::string& p : problems) std::printf("FINDING %s\n", p.c_str());
  return problems.empty() ? 0 : 1;
}
