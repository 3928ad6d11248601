// Private mount, IPC, network and UTS namespaces for a test binary (a user namespace too when not root): /tmp, /var,
// /run and /dev are empty and its own, the loopback interface is up, nothing of the machine can be touched.
#pragma once

namespace vostest {

/** Called once by main before any thread exists. */
void enterSandbox();

}  // namespace vostest
