// Lets a test see what a user sees who may do less than the one who runs the tests.
#pragma once

#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include <unistd.h>

#include <functional>
#include <thread>

namespace vurl {

/// Runs `work` on a thread that lacks `capability`, while the limit of `resource` is 0.
inline void withoutRight(unsigned capability, __rlimit_resource resource, const std::function<void()>& work) {
  rlimit before{};
  getrlimit(resource, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(resource, &none);
  std::thread([&] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    syscall(SYS_capget, &header, data);
    data[0].effective &= ~(1U << capability);
    syscall(SYS_capset, &header, data);
    work();
  }).join();
  setrlimit(resource, &before);
}

} // namespace vurl
