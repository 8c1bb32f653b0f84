// The bridge contract run against the JVM bridge: the contract proxy is the
// real Java class in the contract proxy directory of the proxy home. The JVM
// and the proxy's class loader stay for the whole program; each test creates
// its own proxy objects.
#include "contract_suite.h"

namespace {

class JvmContractBridge : public ContractBridge {
 public:
  void setUp() override {}
};

}  // namespace

std::unique_ptr<ContractBridge> makeContractBridge() {
  return std::make_unique<JvmContractBridge>();
}
