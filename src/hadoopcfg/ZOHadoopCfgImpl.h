// A configuration held on the Java side: key/values, resource files and a user.
// Made by the instance's createConfiguration (both forms); a child of it.
#pragma once

#include <cstdint>

#include "ZOHadoopCfg.h"
#include "ZOHadoop.h"
#include "zo_logger.h"
#include "zob_string.h"

class ZohCalls;

class ZOHadoopCfgImpl : public ZOHadoopCfg, public ZOHadoopObj {
 public:
  explicit ZOHadoopCfgImpl(ZohCalls* owner);

  // ZOHadoopCfg, in slot order.
  bool addResourceFile(const ZobString& file, ZobString* err) override;
  bool addResourceFiles(int count, const ZobString* files, ZobString* err) override;
  void release() override;
  bool setKeyValue(const ZobString& key, const ZobString& value,
                   ZobString* err) override;
  bool setKeyValues(int count, const ZobString* keys, const ZobString* values,
                    ZobString* err) override;
  bool setUserPass(const ZobString& user, const ZobString& password,
                   ZobString* err) override;
  virtual ~ZOHadoopCfgImpl();
  void destroyMe() override;

  // Creates the Java-side configuration ("CreateConfig").
  bool init(ZobString* err);
  // The same, then filled from a parsed Hadoop URI, with the user taken from
  // the platform's credential store when the URI names a credential instead.
  bool init(ZoHadoopURI* uri, ZobString* err);
  // The Java object handle that services pass to their own create calls.
  int64_t getObject() const { return javaObject_; }
  // Ends the object; `removeFromOwner` false when the owner has already
  // unlinked it from its registry.
  void release(bool removeFromOwner);

  const ZobString& id() const { return id_; }

 private:
  // Sends `count` rows of `columns` text columns (column c of row i is
  // columnTexts[c][i]) as one row-set parameter of `method`.
  bool sendRows(const char* method, const char* columnTypes, int columns,
                const ZobString* const* columnTexts, int count, ZobString* err);

  ZohCalls* owner_;
  ZobString id_;
  int64_t javaObject_ = 0;
  ZoLogger_* logger_;
};
