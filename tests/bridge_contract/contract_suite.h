// The behaviour every Java bridge must show, written once and run against each
// bridge: a test program links one bridge (the zojni* functions), the suite in
// contract_suite.cc, and a ContractBridge that prepares that bridge to host the
// contract proxy described below.
//
// The contract proxy: jar "zox-proxy-contract.jar", class
// "com.zorvanta.proxy.test.ContractJPC", proxy name "Contract", directory
// "contract". On creation it asks "JAVA_PROXY/DIRECTORY",
// "JAVA_PROXY/HAS_GETVERSION" and "CONTRACT/FAIL"; when "CONTRACT/FAIL" is
// answered with a text the creation fails (non-zero status, a type-2 message
// containing the text), otherwise it reports "CONTRACT/WARN"'s answer, if any,
// as a type-1 message and then the type-0 message "contract proxy ready".
// Its methods:
//   "Echo"  returns its inputs as outputs, same order and types (null stays null;
//           a row set of string columns is copied row by row);
//   "Fail"  answers a Java error with code 42 and text "contract failure: " +
//           its string input;
//   "Poll"  with int n calls the poll callback n times (done i+1, total n, phase
//           "contract"), stopping after a callback that answers 0; outputs int
//           polls made and bool stopped early (no poll record: 0 and false);
//   "Rows"  with int n outputs n rows of two string columns ("key<i>",
//           "value<i>"), the value of row 1 null;
//   "CodePoints" with a string outputs the int count of its characters as
//           the Java side sees them (-1 for null).
// Any other method: ZOJNI_ERR_NO_METHOD.
#pragma once

#include <memory>
#include <string>

#include "zojni.h"

namespace contract {

inline constexpr const char* kJar = "zox-proxy-contract.jar";
inline constexpr const char* kClass = "com.zorvanta.proxy.test.ContractJPC";
inline constexpr const char* kProxyName = "Contract";
inline constexpr const char* kDirectory = "contract";
inline constexpr const char* kFailOption = "CONTRACT/FAIL";
inline constexpr const char* kWarnOption = "CONTRACT/WARN";
inline constexpr const char* kReadyMessage = "contract proxy ready";
inline constexpr int kFailCode = 42;
inline constexpr const char* kFailPrefix = "contract failure: ";
inline constexpr const char* kPollPhase = "contract";

}  // namespace contract

// What a test program provides for the bridge it links.
class ContractBridge {
 public:
  virtual ~ContractBridge() = default;
  // Before each test: make the bridge ready to create the contract proxy.
  virtual void setUp() = 0;
};

// Defined once in each test program.
std::unique_ptr<ContractBridge> makeContractBridge();
