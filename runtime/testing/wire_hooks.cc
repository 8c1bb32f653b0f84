// The wire objects' test hooks; compiled into the runtime's test build only.
#include "../wire_objects.h"

extern "C" {

void zowlpResponse_testFailParameters(zowlpResponse* response, int status) {
  if (response) response->failParameters = {0, status};
}

void zowlpRowSet_testFailNextRowAt(zowlpRowSet* rowSet, int rowIndex, int status) {
  if (rowSet) rowSet->failNext = {status != WLP_OK ? rowIndex : -1, status};
}

void zowlpRowSet_testFailAddRowAt(zowlpRowSet* rowSet, int rowIndex, int status) {
  if (rowSet) rowSet->failAdd = {status != WLP_OK ? rowIndex : -1, status};
}

int zowlpTestLiveObjects() { return zowlp::g_liveObjects.load(std::memory_order_relaxed); }

}  // extern "C"
