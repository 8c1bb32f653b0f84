// A string cursor over rows held in memory; getPropertyList hands one out with
// the job properties that setProperty understands.
#pragma once

#include <cstdint>
#include <vector>

#include "zob_framework.h"
#include "zob_string.h"

class ZOHadoopMRProps final : public ZobStringCursor {
 public:
  // One row; it may hold fewer values than the cursor has columns.
  class Row {
   public:
    // Grows the row as needed, so that value i exists.
    void set(int i, const ZobString& value);
    // Value i, or an empty string when the row has none.
    ZobString get(int i) const;

   private:
    std::vector<ZobString> values_;
  };

  ZOHadoopMRProps() = default;

  // ZobStringCursor, in slot order.
  bool cacheAll() override;
  ZobString getColumnName(int i) override;
  int getColumns() override;
  ZobString getColumnValue(int i) override;
  ZobString getErrorMessage() override;
  bool getRows(long* rows) override;
  bool next() override;
  void release() override;
  bool top() override;

  // Building.
  void addColumn(const ZobString& name);
  int addRow();
  void setValue(int row, int column, const ZobString& value);

 private:
  // Only release() ends a cursor: the platform holds it by its interface, which
  // has no public destructor.
  ~ZOHadoopMRProps() = default;

  int32_t columnCount_ = 0;
  std::vector<Row> rows_;
  std::vector<ZobString> columnNames_;
  int64_t currentRow_ = -1;
};
