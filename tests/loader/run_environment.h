// What programs_test's tests share: a virtual X server for the whole run, and programs on it through the driver or on Mesa.
#pragma once

#include "tests/loader/child_process.h"

namespace qv::test {

// The one X server of this test program; started when first asked for, ended with the program.
const std::string& xDisplay();

// Environment in which a program draws through the driver; the report goes to `report` when that is not empty.
Variables throughDriver(const std::string& report = "");
// Environment in which a program draws on Mesa's software renderer directly.
Variables onMesa();

// A qv-host of the test's own; its log is what it writes to standard error.
class Host {
 public:
  Host();
  const std::string& socket() const { return socket_; }
  ChildProcess& process() { return *process_; }

 private:
  ScratchFolder folder_;
  std::string socket_;
  std::unique_ptr<ChildProcess> process_;
};

}  // namespace qv::test
