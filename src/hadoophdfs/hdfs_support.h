// Pieces shared by the HDFS service, file and directory objects: the source tag
// of their log lines and messages, and an owner for one proxy call's response.
#pragma once

#include "zowlp.h"

#define ZOH_HDFS_TAG "src/hadoophdfs"
#define ZOH_HDFS_PROXY "HadoopClient"

// Holds the response slot of one proxy call and destroys whatever lands in it,
// so that no return path can leak a response.
class HdfsResponse {
 public:
  HdfsResponse() = default;
  HdfsResponse(const HdfsResponse&) = delete;
  HdfsResponse& operator=(const HdfsResponse&) = delete;
  ~HdfsResponse() { reset(); }

  zowlpResponse** slot() { return &response_; }
  zowlpResponse* get() const { return response_; }
  // Hands the response to a new owner.
  zowlpResponse* release() {
    zowlpResponse* r = response_;
    response_ = nullptr;
    return r;
  }
  void reset() {
    if (response_ != nullptr) zowlpResponse_destroy(response_);
    response_ = nullptr;
  }
  // The output records; 0 on success, else the unpacking status. A response
  // with fewer records than the signature promised counts as unreadable, so
  // that no caller indexes past the array.
  int outputs(int expected, zowlpParameter** records) {
    int count = 0;
    *records = nullptr;
    int status = zowlpResponse_parameters(response_, &count, records);
    if (status == 0 && (*records == nullptr || count < expected)) status = WLP_ERR_TYPE;
    return status;
  }

 private:
  zowlpResponse* response_ = nullptr;
};
