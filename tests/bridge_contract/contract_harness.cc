#include "contract_harness.h"

#include <gtest/gtest.h>

#include <cstring>

namespace contract {

// ---- Callback records ----------------------------------------------------------

OptionAnswers::OptionAnswers(std::string proxyName, std::string directory)
    : proxyName_(std::move(proxyName)), directory_(std::move(directory)) {
  record_.callback = &OptionAnswers::answer;
  record_.instance = this;
  record_.proxyName = proxyName_.c_str();
  record_.directoryGiven = 0;
  record_.directory = directory_.c_str();
}

void OptionAnswers::set(const std::string& name, const std::string& value) {
  std::lock_guard<std::mutex> lock(mutex_);
  answers_[name] = value;
}

std::vector<std::string> OptionAnswers::asked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return asked_;
}

int OptionAnswers::answer(ZoJniOptionRecord* record, const char* name, void*,
                          char** value, int* length) {
  auto* self = static_cast<OptionAnswers*>(record->instance);
  std::lock_guard<std::mutex> lock(self->mutex_);
  const std::string asked = name ? name : "";
  self->asked_.push_back(asked);
  std::optional<std::string> found;
  if (asked == "JAVA_PROXY/DIRECTORY") {
    if (record->directoryGiven == 0) {
      found = record->directory;
      record->directoryGiven = 1;
    }
  } else if (asked == "JAVA_PROXY/HAS_GETVERSION") {
    found = record->proxyName;
  } else {
    auto it = self->answers_.find(asked);
    if (it != self->answers_.end()) found = it->second;
  }
  if (!found || found->empty()) return 1;
  // One buffer for every answer, as the library keeps it: the bridge has to
  // take its copy before it asks again.
  self->buffer_ = *found;
  *value = &self->buffer_[0];
  *length = static_cast<int>(self->buffer_.size());
  return 0;
}

MessageLog::MessageLog() {
  record_.callback = &MessageLog::report;
  record_.instance = this;
  record_.errorText = &errorText_;
}

std::vector<Message> MessageLog::messages() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return messages_;
}

int MessageLog::report(ZoJniMessageRecord* record, int messageType, const char* text) {
  auto* self = static_cast<MessageLog*>(record->instance);
  std::lock_guard<std::mutex> lock(self->mutex_);
  self->messages_.push_back({messageType, text ? text : ""});
  return 0;
}

PollScript::PollScript(int stopAt) : stopAt_(stopAt) {
  record_.value = 1;
  record_.callback = &PollScript::poll;
  record_.instance = this;
  record_.pollStatus = nullptr;
}

int PollScript::poll(ZoJniPollRecord* record, int64_t done, int64_t total,
                     const char* phase) {
  auto* self = static_cast<PollScript*>(record->instance);
  PollSeen seen{done, total, std::nullopt};
  if (phase) seen.phase = std::string(phase);
  self->seen_.push_back(seen);
  return self->stopAt_ > 0 && static_cast<int>(self->seen_.size()) >= self->stopAt_ ? 0 : 1;
}

// ---- Inputs --------------------------------------------------------------------

zowlpParameter& Inputs::add(int32_t type, bool present) {
  zowlpParameter record;
  std::memset(&record, 0, sizeof record);
  record.type = type;
  record.present = present ? 1 : 0;
  records_.push_back(record);
  return records_.back();
}

Inputs& Inputs::bytes(const std::string& data) {
  keep_.push_back(data);
  zowlpParameter& record = add(WLP_TYPE_BYTES, true);
  record.value.bytes = keep_.back().data();
  record.length = static_cast<int32_t>(data.size());
  return *this;
}

Inputs& Inputs::boolean(bool value) {
  add(WLP_TYPE_BOOL, true).value.boolean = value ? 1 : 0;
  return *this;
}

Inputs& Inputs::integer(int32_t value) {
  add(WLP_TYPE_INT, true).value.integer = value;
  return *this;
}

Inputs& Inputs::object(int64_t handle) {
  add(WLP_TYPE_OBJECT, true).value.object = handle;
  return *this;
}

Inputs& Inputs::string(const std::string& text) {
  keep_.push_back(text);
  zowlpParameter& record = add(WLP_TYPE_STRING, true);
  record.value.string = keep_.back().c_str();
  record.length = static_cast<int32_t>(text.size());
  return *this;
}

Inputs& Inputs::rowSet(zowlpRowSet* rowSet) {
  add(WLP_TYPE_ROWSET, true).value.rowSet = rowSet;
  return *this;
}

Inputs& Inputs::null(int32_t type) {
  add(type, false);
  return *this;
}

Inputs& Inputs::raw(int32_t type) {
  add(type, true);
  return *this;
}

std::string Inputs::signature() const {
  std::string codes;
  for (const zowlpParameter& record : records_) codes += static_cast<char>(record.type);
  return codes;
}

// ---- Values --------------------------------------------------------------------

bool operator==(const Value& a, const Value& b) {
  if (a.type != b.type || a.present != b.present) return false;
  if (!a.present) return true;
  switch (a.type) {
    case WLP_TYPE_BYTES:
    case WLP_TYPE_STRING:
      return a.str == b.str && a.length == b.length;
    case WLP_TYPE_BOOL:
      return a.boolean == b.boolean;
    case WLP_TYPE_INT:
      return a.integer == b.integer;
    case WLP_TYPE_OBJECT:
      return a.object == b.object;
    case WLP_TYPE_ROWSET:
      return a.rows == b.rows;
    default:
      return true;
  }
}

std::ostream& operator<<(std::ostream& os, const Value& value) {
  os << "type " << value.type;
  if (!value.present) return os << " null";
  switch (value.type) {
    case WLP_TYPE_BYTES:
      return os << " bytes[" << value.length << "]";
    case WLP_TYPE_STRING:
      return os << " \"" << value.str << "\" (" << value.length << ")";
    case WLP_TYPE_BOOL:
      return os << (value.boolean ? " true" : " false");
    case WLP_TYPE_INT:
      return os << " " << value.integer;
    case WLP_TYPE_OBJECT:
      return os << " " << value.object;
    case WLP_TYPE_ROWSET:
      os << " {";
      for (const auto& row : value.rows) {
        os << "(";
        for (const Value& cell : row) os << cell << "; ";
        os << ")";
      }
      return os << "}";
    default:
      return os;
  }
}

namespace {

Value present(int32_t type) {
  Value value;
  value.type = type;
  value.present = true;
  return value;
}

Value readRecord(const zowlpParameter& record) {
  Value value;
  value.type = record.type;
  value.present = record.present != 0;
  if (!value.present) return value;
  switch (record.type) {
    case WLP_TYPE_BYTES:
      value.length = record.length;
      EXPECT_GE(record.length, 0);
      if (record.length > 0) {
        EXPECT_NE(record.value.bytes, nullptr);
        if (record.value.bytes) {
          value.str.assign(static_cast<const char*>(record.value.bytes),
                           static_cast<std::size_t>(record.length));
        }
      }
      break;
    case WLP_TYPE_STRING:
      value.length = record.length;
      EXPECT_NE(record.value.string, nullptr);
      if (record.value.string) {
        // The library reads output texts as NUL-terminated; the length must agree.
        value.str = record.value.string;
        EXPECT_EQ(static_cast<std::size_t>(record.length), value.str.size())
            << "string output \"" << value.str << "\"";
      }
      break;
    case WLP_TYPE_BOOL:
      value.boolean = record.value.boolean != 0;
      break;
    case WLP_TYPE_INT:
      value.integer = record.value.integer;
      break;
    case WLP_TYPE_OBJECT:
      value.object = record.value.object;
      break;
    case WLP_TYPE_ROWSET:
      EXPECT_NE(record.value.rowSet, nullptr);
      if (record.value.rowSet) value.rows = readRows(record.value.rowSet);
      break;
    default:
      ADD_FAILURE() << "output of unknown type " << record.type;
  }
  return value;
}

}  // namespace

Value bytesValue(const std::string& data) {
  Value value = present(WLP_TYPE_BYTES);
  value.str = data;
  value.length = static_cast<int32_t>(data.size());
  return value;
}

Value boolValue(bool boolean) {
  Value value = present(WLP_TYPE_BOOL);
  value.boolean = boolean;
  return value;
}

Value intValue(int32_t integer) {
  Value value = present(WLP_TYPE_INT);
  value.integer = integer;
  return value;
}

Value objectValue(int64_t handle) {
  Value value = present(WLP_TYPE_OBJECT);
  value.object = handle;
  return value;
}

Value stringValue(const std::string& text) {
  Value value = present(WLP_TYPE_STRING);
  value.str = text;
  value.length = static_cast<int32_t>(text.size());
  return value;
}

Value nullValue(int32_t type) {
  Value value;
  value.type = type;
  return value;
}

Value stringRowsValue(const std::vector<std::vector<std::optional<std::string>>>& rows) {
  Value value = present(WLP_TYPE_ROWSET);
  for (const auto& row : rows) {
    std::vector<Value> cells;
    for (const auto& cell : row) {
      cells.push_back(cell ? stringValue(*cell) : nullValue(WLP_TYPE_STRING));
    }
    value.rows.push_back(std::move(cells));
  }
  return value;
}

std::vector<std::vector<Value>> readRows(const zowlpRowSet* rowSet) {
  std::vector<std::vector<Value>> rows;
  const int count = zowlpRowSet_getRows(rowSet);
  const int columns = zowlpRowSet_getColumns(rowSet);
  for (int i = 0; i < count; ++i) {
    zowlpParameter* records = nullptr;
    const int status = zowlpRowSet_nextRow(rowSet, &records);
    EXPECT_EQ(status, WLP_OK) << "reading row " << i;
    if (status != WLP_OK || records == nullptr) break;
    std::vector<Value> row;
    for (int c = 0; c < columns; ++c) row.push_back(readRecord(records[c]));
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<Value> readOutputs(zowlpResponse* response) {
  std::vector<Value> outputs;
  int count = -1;
  zowlpParameter* records = nullptr;
  const int status = zowlpResponse_parameters(response, &count, &records);
  EXPECT_EQ(status, WLP_OK) << "zowlpResponse_parameters";
  if (status != WLP_OK) return outputs;
  for (int i = 0; i < count; ++i) outputs.push_back(readRecord(records[i]));
  return outputs;
}

void addStringRows(zowlpRowSet* rowSet,
                   const std::vector<std::vector<std::optional<std::string>>>& rows) {
  for (const auto& row : rows) {
    std::vector<zowlpParameter> records(row.size());
    for (std::size_t c = 0; c < row.size(); ++c) {
      std::memset(&records[c], 0, sizeof records[c]);
      records[c].type = WLP_TYPE_STRING;
      if (row[c]) {
        records[c].present = 1;
        records[c].value.string = row[c]->c_str();
        records[c].length = static_cast<int32_t>(row[c]->size());
      }
    }
    ASSERT_EQ(zowlpRowSet_addRow(rowSet, records.data()), WLP_OK);
  }
}

}  // namespace contract
