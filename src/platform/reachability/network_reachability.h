// NetworkReachability: the platform's low-level route watcher, as flags: `kReachableFlag` when a
// default route exists over a link that is up, with `kIsWWANFlag` when that link is a cellular
// modem (an interface whose kernel device type is "wwan"). A wireless or wired default route answers reachable without the WWAN flag.
// The Linux monitor listens to netlink route and link events on a thread of its own and calls the
// callback on the dispatch queue it was given, once per change of flags.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/dispatch/dispatch_queue.h"

namespace obx::platform {

using ReachabilityFlags = std::uint32_t;
inline constexpr ReachabilityFlags kReachableFlag = 1u << 1;
inline constexpr ReachabilityFlags kIsWWANFlag = 1u << 18;

class NetworkReachability {
 public:
  virtual ~NetworkReachability() = default;
  // The current flags; absent with an error number when they cannot be read.
  virtual std::optional<ReachabilityFlags> getFlags(int* error = nullptr) = 0;
  // A null callback removes it. False, with `error` set, when the platform refuses.
  virtual bool setCallback(std::function<void(ReachabilityFlags)> callback, int* error = nullptr) = 0;
  // A null queue stops the delivery. False, with `error` set, when the platform refuses.
  virtual bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue, int* error = nullptr) = 0;
};

// Flags from the routing tables under `procNet` (/proc/net) and link state under `sysClassNet`
// (/sys/class/net).
ReachabilityFlags readReachabilityFlags(const std::string& procNet = "/proc/net",
                                        const std::string& sysClassNet = "/sys/class/net");

class NetlinkReachability final : public NetworkReachability {
 public:
  NetlinkReachability() = default;
  ~NetlinkReachability() override;

  std::optional<ReachabilityFlags> getFlags(int* error = nullptr) override;
  bool setCallback(std::function<void(ReachabilityFlags)> callback, int* error = nullptr) override;
  bool setDispatchQueue(std::shared_ptr<DispatchQueue> queue, int* error = nullptr) override;

 private:
  bool startWatching(int* error);
  void stopWatching();
  void watch(int socket, int wake);
  void deliver();

  std::mutex mutex_;
  std::function<void(ReachabilityFlags)> callback_;
  std::shared_ptr<DispatchQueue> queue_;
  std::optional<ReachabilityFlags> lastFlags_;
  std::thread thread_;
  int socket_ = -1;
  int wake_[2] = {-1, -1};
};

}  // namespace obx::platform
