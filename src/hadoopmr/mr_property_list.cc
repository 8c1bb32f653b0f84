// The job properties that a MapReduce job understands, as a cursor of names and
// descriptions; and the in-memory cursor that carries them.
#include <new>

#include "hadoopmr/ZOHadoopMRImpl.h"
#include "hadoopmr/ZOHadoopMRProps.h"
#include "zohadoop/hadoop_calls.h"

namespace {

struct PropertyDescription {
  const char* key;
  const char* description;
};

// The keys filled from the job's own lists and from run's argument (input paths,
// jars, delete-output) are left out: setProperty is not the way to give them.
const PropertyDescription kJobProperties[] = {
    {"HADOOP_MAPREDUCE_CLASS_COMBINER", "Combiner class name"},
    {"HADOOP_MAPREDUCE_CLASS_GROUPING", "Grouping comparator class name"},
    {"HADOOP_MAPREDUCE_CLASS_INPUTFORMAT", "Input format class name"},
    {"HADOOP_MAPREDUCE_CLASS_MAP", "Map class name"},
    {"HADOOP_MAPREDUCE_CLASS_OUTPUTFORMAT", "Output format class name"},
    {"HADOOP_MAPREDUCE_CLASS_OUTPUTKEY", "Output key name"},
    {"HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE", "Output value class name"},
    {"HADOOP_MAPREDUCE_CLASS_PARTITIONER", "Partitioner class name"},
    {"HADOOP_MAPREDUCE_CLASS_REDUCER", "Reducer class name"},
    {"HADOOP_MAPREDUCE_CLASS_SORT", "Sort comparator class name"},
    {"HADOOP_MAPREDUCE_NUM_REDUCERS", "Number of reduce tasks"},
    {"HADOOP_MAPREDUCE_PATH_OUTPUT", "Output path"},
    {"HADOOP_MAPREDUCE_WORKING_DIRECTORY", "Working directory"},
};

}  // namespace

ZobStringCursor* ZOHadoopMRImpl::getPropertyList(ZobString* err) {
  ZOHadoopMRProps* cursor = new (std::nothrow) ZOHadoopMRProps();
  if (cursor == nullptr) {
    if (err != nullptr) *err = ZOH_MESSAGE(ZOH_MR_TAG, 29, "(properties container)");
    return nullptr;
  }
  cursor->addColumn(ZobString("MapReduce Property Name", true));
  cursor->addColumn(ZobString("MapReduce Property Description", true));
  for (const PropertyDescription& property : kJobProperties) {
    const int row = cursor->addRow();
    cursor->setValue(row, 0, ZobString(property.key, true));
    cursor->setValue(row, 1, ZobString(property.description, true));
  }
  return cursor;
}

void ZOHadoopMRProps::Row::set(int i, const ZobString& value) {
  if (i < 0) return;
  const size_t index = static_cast<size_t>(i);
  if (values_.size() < index + 1) values_.resize(index + 1, ZobString(""));
  values_[index] = value;
}

ZobString ZOHadoopMRProps::Row::get(int i) const {
  if (i < 0 || static_cast<size_t>(i) >= values_.size()) return ZobString("");
  return values_[static_cast<size_t>(i)];
}

bool ZOHadoopMRProps::cacheAll() { return true; }

ZobString ZOHadoopMRProps::getColumnName(int i) {
  if (i < 0 || static_cast<size_t>(i) >= columnNames_.size()) return ZobString("");
  return columnNames_[static_cast<size_t>(i)];
}

int ZOHadoopMRProps::getColumns() { return columnCount_; }

ZobString ZOHadoopMRProps::getColumnValue(int i) {
  if (currentRow_ < 0 || currentRow_ >= static_cast<int64_t>(rows_.size())) {
    return ZobString("");
  }
  return rows_[static_cast<size_t>(currentRow_)].get(i);
}

ZobString ZOHadoopMRProps::getErrorMessage() { return ZobString(""); }

bool ZOHadoopMRProps::getRows(long* rows) {
  if (rows != nullptr) *rows = static_cast<long>(rows_.size());
  return true;
}

bool ZOHadoopMRProps::next() {
  const int64_t count = static_cast<int64_t>(rows_.size());
  // Past the end the cursor stays put, so repeated calls keep answering false.
  if (currentRow_ >= count) return false;
  ++currentRow_;
  return currentRow_ < count;
}

void ZOHadoopMRProps::release() { delete this; }

bool ZOHadoopMRProps::top() {
  currentRow_ = -1;
  return true;
}

void ZOHadoopMRProps::addColumn(const ZobString& name) {
  const size_t index = static_cast<size_t>(columnCount_);
  ++columnCount_;
  if (columnNames_.size() < index + 1) columnNames_.resize(index + 1, ZobString(""));
  columnNames_[index] = name;
}

int ZOHadoopMRProps::addRow() {
  rows_.emplace_back();
  return static_cast<int>(rows_.size()) - 1;
}

void ZOHadoopMRProps::setValue(int row, int column, const ZobString& value) {
  if (row < 0 || static_cast<size_t>(row) >= rows_.size()) return;
  rows_[static_cast<size_t>(row)].set(column, value);
}
