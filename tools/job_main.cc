// zohadoop-job: runs a MapReduce job or a Pig script through the Hadoop
// client library's public objects, with a progress line on a terminal; Ctrl-C
// stops the job on the engine before the tool exits.
#include <signal.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "zo_logger.h"

namespace {

const char kUsage[] =
    "Usage:\n"
    "  zohadoop-job mapreduce [common] [-jar JAR] [-libjars JAR,JAR...] [-D KEY=VALUE]...\n"
    "       -mapper CLASS [-combiner CLASS] [-reducer CLASS] [-partitioner CLASS]\n"
    "       [-sort CLASS] [-grouping CLASS] [-inputformat CLASS] [-outputformat CLASS]\n"
    "       [-outputkey CLASS] [-outputvalue CLASS] [-reducers N]\n"
    "       -input PATH [-input PATH]... -output PATH [-delete-output]\n"
    "  zohadoop-job pig [common] [-jar JAR]... [-param KEY=VALUE]... [-param_file FILE]...\n"
    "       (SCRIPT | -e COMMANDS)\n"
    "Common: -conf FILE (a Hadoop configuration file; repeatable), -v (library log).\n"
    "Without -conf the job runs on the embedded default: Hadoop's local job runner\n"
    "on the local file system. -D keys that are not job keys are Hadoop properties.\n"
    "Exit status: 0 success, 1 the job failed or was stopped, 2 usage.\n";

volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int) { interrupted = 1; }

// After the JVM is up (it installs its own handler), so that Ctrl-C reaches the poll.
void catchInterrupt() {
  struct sigaction action;
  std::memset(&action, 0, sizeof action);
  action.sa_handler = onInterrupt;
  action.sa_flags = SA_RESETHAND;  // a second Ctrl-C ends the tool at once
  sigaction(SIGINT, &action, nullptr);
}

class Progress : public HadoopPollStatus {
 public:
  Progress() : terminal_(isatty(STDERR_FILENO)) {}
  ~Progress() { done(); }
  int pollInterval() override { return 500; }
  bool poll(int64_t, int64_t, const char* phase) override {
    if (interrupted) {
      line("stopping ...");
      return false;
    }
    if (phase != nullptr) line(phase);
    return true;
  }
  void done() {
    if (shown_) std::fputc('\n', stderr);
    shown_ = false;
  }

 private:
  void line(const char* text) {
    if (!terminal_) return;
    std::fprintf(stderr, "\r%-60s", text);
    std::fflush(stderr);
    shown_ = true;
  }
  bool terminal_;
  bool shown_ = false;
};

class Texts : public HadoopTextStatus {
 public:
  void setFinalText(const ZobString& text) override { std::printf("%s\n", text.asCstr()); }
  void setStartText(const ZobString& text) override { std::printf("%s\n", text.asCstr()); }
};

bool splitPair(const std::string& text, std::string* key, std::string* value) {
  const size_t eq = text.find('=');
  if (eq == std::string::npos || eq == 0) return false;
  *key = text.substr(0, eq);
  *value = text.substr(eq + 1);
  return true;
}

struct Args {
  std::string mode;
  std::vector<std::string> confFiles, jars, inputs;
  std::vector<std::pair<std::string, std::string>> properties, params;
  std::vector<std::string> paramFiles;
  std::string script, commands;
  bool deleteOutput = false;
  bool verbose = false;
};

const std::pair<const char*, const char*> kClassOptions[] = {
    {"-mapper", "HADOOP_MAPREDUCE_CLASS_MAP"},
    {"-combiner", "HADOOP_MAPREDUCE_CLASS_COMBINER"},
    {"-reducer", "HADOOP_MAPREDUCE_CLASS_REDUCER"},
    {"-partitioner", "HADOOP_MAPREDUCE_CLASS_PARTITIONER"},
    {"-sort", "HADOOP_MAPREDUCE_CLASS_SORT"},
    {"-grouping", "HADOOP_MAPREDUCE_CLASS_GROUPING"},
    {"-inputformat", "HADOOP_MAPREDUCE_CLASS_INPUTFORMAT"},
    {"-outputformat", "HADOOP_MAPREDUCE_CLASS_OUTPUTFORMAT"},
    {"-outputkey", "HADOOP_MAPREDUCE_CLASS_OUTPUTKEY"},
    {"-outputvalue", "HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE"},
    {"-reducers", "HADOOP_MAPREDUCE_NUM_REDUCERS"},
    {"-output", "HADOOP_MAPREDUCE_PATH_OUTPUT"},
};

// False with a message on a usage error.
bool parse(int argc, char** argv, Args* args, std::string* error) {
  if (argc < 2) return false;
  args->mode = argv[1];
  const bool mr = args->mode == "mapreduce" || args->mode == "mr";
  if (!mr && args->mode != "pig") {
    *error = "unknown mode '" + args->mode + "'";
    return false;
  }
  for (int i = 2; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&](std::string* out) {
      if (i + 1 >= argc) {
        *error = a + " needs a value";
        return false;
      }
      *out = argv[++i];
      return true;
    };
    std::string v, key, val;
    if (a == "-v") {
      args->verbose = true;
    } else if (a == "-delete-output" && mr) {
      args->deleteOutput = true;
    } else if (a == "-conf") {
      if (!value(&v)) return false;
      args->confFiles.push_back(v);
    } else if (a == "-jar") {
      if (!value(&v)) return false;
      args->jars.push_back(v);
    } else if (a == "-libjars" && mr) {
      if (!value(&v)) return false;
      std::istringstream list(v);
      while (std::getline(list, val, ',')) if (!val.empty()) args->jars.push_back(val);
    } else if (a == "-input" && mr) {
      if (!value(&v)) return false;
      args->inputs.push_back(v);
    } else if ((a == "-D" && mr) || (a.rfind("-D", 0) == 0 && a.size() > 2 && mr)) {
      if (a == "-D" ? !value(&v) : (v = a.substr(2), false)) return false;
      if (!splitPair(v, &key, &val)) {
        *error = "-D needs KEY=VALUE, not '" + v + "'";
        return false;
      }
      args->properties.emplace_back(key, val);
    } else if (a == "-param" && !mr) {
      if (!value(&v)) return false;
      if (!splitPair(v, &key, &val)) {
        *error = "-param needs KEY=VALUE, not '" + v + "'";
        return false;
      }
      args->params.emplace_back(key, val);
    } else if (a == "-param_file" && !mr) {
      if (!value(&v)) return false;
      args->paramFiles.push_back(v);
    } else if (a == "-e" && !mr) {
      if (!value(&args->commands)) return false;
    } else if (!mr && a[0] != '-' && args->script.empty()) {
      args->script = a;
    } else {
      bool known = false;
      for (const auto& [option, property] : kClassOptions) {
        if (mr && a == option) {
          if (!value(&v)) return false;
          args->properties.emplace_back(property, v);
          known = true;
        }
      }
      if (!known) {
        *error = "unknown option '" + a + "'";
        return false;
      }
    }
  }
  if (!mr && args->script.empty() == args->commands.empty()) {
    *error = "give either a script file or -e COMMANDS";
    return false;
  }
  return true;
}

// Pig's parameter file: KEY=VALUE lines; blank lines and # comments skipped.
bool readParamFile(const std::string& path, ZOHadoopPig* pig, std::string* error) {
  std::ifstream in(path);
  if (!in) {
    *error = "cannot read parameter file " + path;
    return false;
  }
  std::string line, key, val;
  for (int n = 1; std::getline(in, line); ++n) {
    const size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line[start] == '#') continue;
    if (!splitPair(line.substr(start), &key, &val)) {
      *error = path + ":" + std::to_string(n) + ": not KEY=VALUE";
      return false;
    }
    ZobString ignored;
    pig->setParameter(ZobString(key.c_str()), ZobString(val.c_str()), &ignored);
  }
  return true;
}

bool runMapReduce(ZOHadoop* hadoop, ZOHadoopCfg* cfg, const Args& args, std::string* error) {
  ZobString err;
  ZOHadoopMapReduce* job = hadoop->createMapReduce(cfg, &err);
  if (job == nullptr) {
    *error = err.str();
    return false;
  }
  for (const auto& [key, value] : args.properties)
    job->setProperty(ZobString(key.c_str()), ZobString(value.c_str()), &err);
  for (const auto& input : args.inputs) job->addInputPath(ZobString(input.c_str()), &err);
  for (const auto& jar : args.jars) job->addJar(ZobString(jar.c_str()), &err);
  Progress progress;
  Texts texts;
  catchInterrupt();
  const bool ok = job->run(&progress, &texts, args.deleteOutput, &err);
  progress.done();
  if (!ok) *error = err.str();
  job->release();
  return ok;
}

bool runPig(ZOHadoop* hadoop, ZOHadoopCfg* cfg, const Args& args, std::string* error) {
  std::string commands = args.commands;
  if (!args.script.empty()) {
    std::ifstream in(args.script);
    if (!in) {
      *error = "cannot read script " + args.script;
      return false;
    }
    std::stringstream all;
    all << in.rdbuf();
    commands = all.str();
  }
  ZobString err;
  ZOHadoopPig* pig = hadoop->createPig(cfg, ZobString(""), &err);
  if (pig == nullptr) {
    *error = err.str();
    return false;
  }
  bool ok = true;
  // As Pig's own command line: -param wins over -param_file.
  for (const auto& file : args.paramFiles) ok = ok && readParamFile(file, pig, error);
  for (const auto& [key, value] : args.params)
    pig->setParameter(ZobString(key.c_str()), ZobString(value.c_str()), &err);
  for (const auto& jar : args.jars) pig->registerJar(ZobString(jar.c_str()), &err);
  if (ok) {
    Progress progress;
    Texts texts;
    catchInterrupt();
    ok = pig->runCommands(&progress, &texts, ZobString(commands.c_str()), nullptr, &err);
    progress.done();
    if (!ok) *error = err.str();
  }
  pig->release();
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  Args args;
  std::string error;
  if (argc >= 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (!parse(argc, argv, &args, &error)) {
    if (!error.empty()) std::fprintf(stderr, "zohadoop-job: %s\n", error.c_str());
    std::fputs(kUsage, stderr);
    return 2;
  }
  zologSetThreshold(args.verbose ? ZOLOG_INFO : ZOLOG_FATAL);
  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  if (hadoop == nullptr) {
    std::fprintf(stderr, "zohadoop-job: %s\n", err.asCstr());
    return 1;
  }
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  bool ok = cfg != nullptr;
  if (!ok) error = err.str();
  for (const auto& file : args.confFiles) {
    if (ok && !(ok = cfg->addResourceFile(ZobString(file.c_str()), &err))) error = err.str();
  }
  if (ok) {
    const bool mr = args.mode != "pig";
    ok = mr ? runMapReduce(hadoop, cfg, args, &error) : runPig(hadoop, cfg, args, &error);
  }
  if (!ok) std::fprintf(stderr, "zohadoop-job: %s\n", error.c_str());
  if (interrupted) std::fprintf(stderr, "zohadoop-job: stopped by Ctrl-C\n");
  if (cfg != nullptr) cfg->release();
  hadoop->release();
  return ok ? 0 : 1;
}
