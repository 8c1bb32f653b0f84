#include "tour_engines.h"

#include <ftw.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"

namespace zohtool {

namespace {

using Counts = std::map<std::string, long>;

const char kWordsFile[] = "words.txt";

// Reproducible text: lines of words drawn from a small vocabulary, so that
// every word occurs many times and the counts differ.
std::string wordsText(Counts* expected) {
  static const char* const kVocabulary[] = {"river", "stone", "cloud", "ember", "harbor",
                                            "meadow", "lantern", "quartz", "willow"};
  std::string text;
  unsigned state = 20261123u;
  for (int line = 0; line < 500; ++line) {
    for (int w = 0; w < 1 + line % 7; ++w) {
      state = state * 1103515245u + 12345u;
      const char* word = kVocabulary[(state >> 16) % (1 + (state >> 8) % 9)];
      text += (w == 0 ? "" : " ");
      text += word;
      ++(*expected)[word];
    }
    text += '\n';
  }
  return text;
}

int removeEntry(const char* path, const struct stat*, int, struct FTW*) {
  return std::remove(path);
}

void removeTree(const std::string& path) {
  nftw(path.c_str(), removeEntry, 8, FTW_DEPTH | FTW_PHYS);
}

// "word<TAB>count" lines of every part file of an output directory.
bool readCounts(const std::string& dir, Counts* got, std::string* error) {
  for (const char* part : {"part-r-00000", "part-00000"}) {
    std::ifstream in(dir + "/" + part);
    if (!in) continue;
    std::string word;
    long n;
    while (in >> word >> n) (*got)[word] += n;
    return true;
  }
  *error = "no part file in " + dir;
  return false;
}

bool compare(const Counts& expected, const Counts& got, std::string* detail) {
  if (expected != got) {
    std::ostringstream why;
    why << "counts differ: " << got.size() << " words counted, " << expected.size()
        << " expected";
    for (const auto& [word, n] : expected) {
      auto it = got.find(word);
      if (it == got.end() || it->second != n) {
        why << "; '" << word << "' " << (it == got.end() ? 0 : it->second) << " != " << n;
        break;
      }
    }
    *detail = why.str();
    return false;
  }
  long total = 0;
  for (const auto& entry : got) total += entry.second;
  std::ostringstream ok;
  ok << total << " words, " << got.size() << " distinct, counts as expected";
  *detail = ok.str();
  return true;
}

// One instance and configuration on the embedded default for one step.
class Engine {
 public:
  Engine() {
    hadoop_ = zoHadoopCreate(&err_);
    if (hadoop_ != nullptr) cfg_ = hadoop_->createConfiguration(&err_);
  }
  ~Engine() {
    if (cfg_ != nullptr) cfg_->release();
    if (hadoop_ != nullptr) hadoop_->release();
  }
  bool ready(std::string* detail) {
    if (cfg_ == nullptr) *detail = err_.str();
    return cfg_ != nullptr;
  }
  ZOHadoop* hadoop_ = nullptr;
  ZOHadoopCfg* cfg_ = nullptr;
  ZobString err_;
};

void writeWords(const std::string& workDir, Counts* expected) {
  std::ofstream(workDir + "/" + kWordsFile) << wordsText(expected);
}

// The counts in `output` against the expected ones; removes what the step made.
bool checkAndClean(bool ran, const Counts& expected, const std::string& workDir,
                   const std::string& output, std::string* detail) {
  Counts got;
  const bool ok = ran && readCounts(output, &got, detail) && compare(expected, got, detail);
  removeTree(output);
  std::remove((workDir + "/" + kWordsFile).c_str());
  return ok;
}

bool mapReduceCount(const std::string& workDir, std::string* detail) {
  Counts expected;
  writeWords(workDir, &expected);
  const std::string output = workDir + "/count-mapreduce";
  bool ok = false;
  {
    Engine engine;
    if (!engine.ready(detail)) return false;
    ZOHadoopMapReduce* job = engine.hadoop_->createMapReduce(engine.cfg_, &engine.err_);
    if (job == nullptr) {
      *detail = engine.err_.str();
      return false;
    }
    // Hadoop's own library classes: the proxy's class path holds them, no job jar needed.
    const std::pair<const char*, const char*> properties[] = {
        {"HADOOP_MAPREDUCE_CLASS_MAP", "org.apache.hadoop.mapreduce.lib.map.TokenCounterMapper"},
        {"HADOOP_MAPREDUCE_CLASS_COMBINER", "org.apache.hadoop.mapreduce.lib.reduce.IntSumReducer"},
        {"HADOOP_MAPREDUCE_CLASS_REDUCER", "org.apache.hadoop.mapreduce.lib.reduce.IntSumReducer"},
        {"HADOOP_MAPREDUCE_CLASS_OUTPUTKEY", "org.apache.hadoop.io.Text"},
        {"HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE", "org.apache.hadoop.io.IntWritable"},
        {"HADOOP_MAPREDUCE_NUM_REDUCERS", "1"},
        {"HADOOP_MAPREDUCE_PATH_OUTPUT", output.c_str()},
    };
    for (const auto& [key, value] : properties)
      job->setProperty(ZobString(key), ZobString(value), &engine.err_);
    job->addInputPath(ZobString((workDir + "/" + kWordsFile).c_str()), &engine.err_);
    ok = job->run(nullptr, nullptr, true, &engine.err_);
    if (!ok) *detail = engine.err_.str();
    job->release();
  }
  return checkAndClean(ok, expected, workDir, output, detail);
}

const char kPigCount[] =
    "lines = LOAD '$input' AS (line:chararray);\n"
    "words = FOREACH lines GENERATE FLATTEN(TOKENIZE(line)) AS word;\n"
    "grouped = GROUP words BY word;\n"
    "counts = FOREACH grouped GENERATE group, COUNT(words);\n"
    "STORE counts INTO '$output';\n";

bool pigCount(const std::string& workDir, std::string* detail) {
  Counts expected;
  writeWords(workDir, &expected);
  const std::string output = workDir + "/count-pig";
  bool ok = false;
  {
    Engine engine;
    if (!engine.ready(detail)) return false;
    ZOHadoopPig* pig = engine.hadoop_->createPig(engine.cfg_, ZobString(""), &engine.err_);
    if (pig == nullptr) {
      *detail = engine.err_.str();
      return false;
    }
    pig->setParameter(ZobString("input"), ZobString((workDir + "/" + kWordsFile).c_str()),
                      &engine.err_);
    pig->setParameter(ZobString("output"), ZobString(output.c_str()), &engine.err_);
    ok = pig->runCommands(nullptr, nullptr, ZobString(kPigCount), nullptr, &engine.err_);
    if (!ok) *detail = engine.err_.str();
    pig->release();
  }
  return checkAndClean(ok, expected, workDir, output, detail);
}

}  // namespace

std::vector<TourStep> engineTourSteps(const std::string& workDir) {
  return {
      {"count words (MapReduce job)",
       [workDir](std::string* d) { return mapReduceCount(workDir, d); }},
      {"count words (Pig script)", [workDir](std::string* d) { return pigCount(workDir, d); }},
  };
}

}  // namespace zohtool
