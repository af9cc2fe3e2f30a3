// Drops Linux capabilities. A different user's identity would not do: that user may not be allowed
// to reach the programs that a test starts, for example below /root.
#include "support/unprivileged.h"

#include <linux/capability.h>
#include <linux/securebits.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace {

using Capabilities = std::array<__user_cap_data_struct, 2>;

bool call(long number, Capabilities& capabilities) {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  return syscall(number, &header, capabilities.data()) == 0;
}

/// Whose programs these are: root, unless it works in somebody else's folder.
uid_t ownerOfTheProgram() {
  struct stat program {};
  return stat("/proc/self/exe", &program) == 0 ? program.st_uid : 0;
}

/// A test that runs with rights that it should not have would prove nothing.
void require(bool success) {
  if (!success) std::abort();
}

}  // namespace

struct Unprivileged::State {
  Capabilities capabilities{};
  int secureBits = prctl(PR_GET_SECUREBITS);
};

Unprivileged::Unprivileged() {
  if (geteuid() != 0) return;
  state_ = std::make_unique<State>();
  require(call(SYS_capget, state_->capabilities));
  // Else root's programs get all capabilities again when they start.
  require(prctl(PR_SET_SECUREBITS, state_->secureBits | SECBIT_NOROOT) == 0);
  Capabilities none = state_->capabilities;
  for (auto& part : none)
    part.effective = part.inheritable = 0;
  // Both identities: a program that is started with two different ones is in secure mode,
  // where a sanitizer does not obey the environment.
  const uid_t owner = ownerOfTheProgram();
  require(setresuid(owner, owner, 0) == 0 && call(SYS_capset, none));
}

Unprivileged::~Unprivileged() {
  if (state_ == nullptr) return;
  require(setresuid(0, 0, 0) == 0 && call(SYS_capset, state_->capabilities) &&
          prctl(PR_SET_SECUREBITS, state_->secureBits) == 0);
}
