// The HDFS service object: one Java-side HDFS object, bound to a configuration.
#pragma once

#include <cstdint>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "zo_logger.h"
#include "zob_string.h"

class ZohCalls;

class ZOHadoopHDFSImpl : public ZOHadoopHDFS, public ZOHadoopObj {
 public:
  explicit ZOHadoopHDFSImpl(ZohCalls* owner);

  // ZOHadoopHDFS, in slot order.
  bool copyFromLocal(HadoopPollStatus* poll, const ZobString& localSource,
                     bool sourceFlag, const ZobString& hdfsDestination,
                     bool destinationFlag, ZobString* err) override;
  bool copyToLocal(HadoopPollStatus* poll, const ZobString& hdfsSource, bool sourceFlag,
                   const ZobString& localDestination, bool destinationFlag,
                   ZobString* err) override;
  bool deleteFile(HadoopPollStatus* poll, const ZobString& path, ZobString* err) override;
  bool exists(HadoopPollStatus* poll, const ZobString& path, bool* answer,
              ZobString* err) override;
  bool makeDirectory(HadoopPollStatus* poll, const ZobString& path,
                     ZobString* err) override;
  ZOHadoopDirectory* openDir(HadoopPollStatus* poll, const ZobString& path,
                             ZobString* err) override;
  ZOHadoopFile* openFile(HadoopPollStatus* poll, const ZobString& path,
                         ZobTxtFileOpenMode mode, int openFlags, int bufferSize,
                         ZobString* err) override;
  void release() override;
  bool rename(HadoopPollStatus* poll, const ZobString& from, const ZobString& to,
              ZobString* err) override;
  virtual ~ZOHadoopHDFSImpl();

  void destroyMe() override;

  bool init(ZOHadoopCfg* cfg, ZobString* err);
  void release(bool unregister);

  int64_t javaObject() const { return javaObject_; }

 private:
  // "HDFSCopyFile"; direction 0 copies HDFS to local, 1 local to HDFS.
  bool copyFile(bool direction, const ZobString& source, bool sourceFlag,
                const ZobString& destination, bool destinationFlag, ZobString* err);
  // One call that takes the service object and a path and answers a boolean.
  // The result is the call's success; *answer is true only for a readable true.
  bool pathQuery(HadoopPollStatus* poll, const char* method, const char* signature,
                 const ZobString& path, bool* answer, ZobString* err);
  // Gives up a file that was opened on the Java side but cannot be handed out.
  void closeAbandonedFile(HadoopPollStatus* poll, int64_t fileObject);

  ZohCalls* owner_;
  ZobString instanceId_;
  int64_t javaObject_ = 0;
  ZoLogger_* logger_ = nullptr;
};
