// A Pig client: jars and parameters kept on this side, runs made through a Java
// proxy of its own that is derived from the instance's main proxy.
#pragma once

#include <cstdint>
#include <list>
#include <map>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopPig.h"
#include "hadoop_status.h"
#include "zo_logger.h"
#include "zob_options.h"
#include "zob_string.h"
#include "zojni.h"

class ZohCalls;
class ZohTextRows;

#define ZOH_PIG_TAG "src/hadooppig"
#define ZOH_PIG_PROXY_JAR "zox-proxy-pig.jar"
#define ZOH_PIG_PROXY_NAME "HadoopPigClient"
#define ZOH_PIG_PROXY_CLASS "com.zorvanta.proxy.pig.HadoopPigClientJPC"

class ZOHadoopPigImpl : public ZOHadoopPig, public ZOHadoopObj {
 public:
  explicit ZOHadoopPigImpl(ZohCalls* owner);

  // ZOHadoopPig, in slot order.
  void clear() override;
  bool registerJar(const ZobString& jar, ZobString* err) override;
  void release() override;
  bool runCommands(HadoopPollStatus* poll, HadoopTextStatus* text,
                   const ZobString& commands, ZobConfigOptions* options,
                   ZobString* err) override;
  bool setParameter(const ZobString& name, const ZobString& value,
                    ZobString* err) override;
  bool stop(HadoopPollStatus* poll, ZobString* err) override;
  virtual ~ZOHadoopPigImpl();
  void destroyMe() override;

  // Acquires the object's own proxy from `proxyDir`, else the instance property
  // "PIG_JAVA_PROXY_DIR_NAME", else "pig"; `cfg` may be null.
  bool init(ZOHadoopCfg* cfg, const ZobString& proxyDir, ZobString* err);
  // `removeFromOwner` false when the owner has already unlinked the object.
  void release(bool removeFromOwner);

  zojniProxy* proxy() const { return proxy_; }
  int64_t runObject() const { return runObject_; }
  const ZobString& id() const { return name_; }

 private:
  void mergeOptions(ZobConfigOptions* options);
  // The parameter and jar row sets of a run; *rows stays empty when there is
  // nothing to send.
  bool buildParameterRows(ZohTextRows* rows, ZobString* err);
  bool buildJarRows(ZohTextRows* rows, ZobString* err);

  ZohCalls* owner_;
  int64_t configObject_ = 0;
  zojniProxy* proxy_ = nullptr;
  int64_t runObject_ = 0;
  ZobString name_;
  ZoLogger_* logger_;
  std::list<ZobString> jars_;
  std::map<ZobString, ZobString, ZobStringLessInsensitive> parameters_;
};
