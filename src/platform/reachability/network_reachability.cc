#include "platform/reachability/network_reachability.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

namespace obx::platform {
namespace {

std::string readLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return line;
}

bool linkIsUp(const std::string& sysClassNet, const std::string& name) {
  const std::string state = readLine(sysClassNet + "/" + name + "/operstate");
  return state == "up" || state == "unknown";
}

// A modem by the device type the kernel gives it ("DEVTYPE=wwan" in its uevent), whatever its name:
// udev names modems "wwp0s20f0u6", "wwan0" and others.
bool isCellular(const std::string& sysClassNet, const std::string& name) {
  std::ifstream in(sysClassNet + "/" + name + "/uevent");
  std::string line;
  while (std::getline(in, line)) {
    if (line == "DEVTYPE=wwan") return true;
  }
  return false;
}

// The interfaces holding a default route, IPv4 first.
std::vector<std::string> defaultRouteInterfaces(const std::string& procNet) {
  std::vector<std::string> names;
  {
    std::ifstream in(procNet + "/route");
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
      std::istringstream fields(line);
      std::string name, destination, gateway, flags, refcnt, use, metric, mask;
      if (fields >> name >> destination >> gateway >> flags >> refcnt >> use >> metric >> mask) {
        if (destination == "00000000" && mask == "00000000" && name != "lo") names.push_back(name);
      }
    }
  }
  {
    std::ifstream in(procNet + "/ipv6_route");
    std::string line;
    while (std::getline(in, line)) {
      std::istringstream fields(line);
      std::string destination, prefix, source, sourcePrefix, nextHop, metric, refcnt, use, flags, name;
      if (fields >> destination >> prefix >> source >> sourcePrefix >> nextHop >> metric >> refcnt >> use >> flags >>
          name) {
        if (prefix == "00" && destination == std::string(32, '0') && name != "lo") names.push_back(name);
      }
    }
  }
  return names;
}

}  // namespace

ReachabilityFlags readReachabilityFlags(const std::string& procNet, const std::string& sysClassNet) {
  ReachabilityFlags best = 0;
  for (const auto& name : defaultRouteInterfaces(procNet)) {
    if (!linkIsUp(sysClassNet, name)) continue;
    if (isCellular(sysClassNet, name)) {
      if (best == 0) best = kReachableFlag | kIsWWANFlag;
    } else {
      return kReachableFlag;  // Wi-Fi or wired: preferred over a modem, as the system routes it
    }
  }
  return best;
}

NetlinkReachability::~NetlinkReachability() { stopWatching(); }

std::optional<ReachabilityFlags> NetlinkReachability::getFlags(int* error) {
  if (error) *error = 0;
  return readReachabilityFlags();
}

bool NetlinkReachability::setCallback(std::function<void(ReachabilityFlags)> callback, int* error) {
  if (error) *error = 0;
  {
    std::lock_guard lock(mutex_);
    callback_ = std::move(callback);
  }
  return true;
}

bool NetlinkReachability::setDispatchQueue(std::shared_ptr<DispatchQueue> queue, int* error) {
  if (error) *error = 0;
  if (!queue) {
    stopWatching();
    std::lock_guard lock(mutex_);
    queue_.reset();
    return true;
  }
  {
    std::lock_guard lock(mutex_);
    queue_ = std::move(queue);
    lastFlags_ = readReachabilityFlags();
  }
  return startWatching(error);
}

bool NetlinkReachability::startWatching(int* error) {
  if (thread_.joinable()) return true;
  int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (fd < 0) {
    if (error) *error = errno;
    return false;
  }
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE | RTMGRP_IPV4_IFADDR;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || pipe2(wake_, O_CLOEXEC) != 0) {
    if (error) *error = errno;
    close(fd);
    return false;
  }
  socket_ = fd;
  thread_ = std::thread([this, fd, wake = wake_[0]] { watch(fd, wake); });
  return true;
}

void NetlinkReachability::stopWatching() {
  if (!thread_.joinable()) return;
  char byte = 1;
  (void)!write(wake_[1], &byte, 1);
  thread_.join();
  close(socket_);
  close(wake_[0]);
  close(wake_[1]);
  socket_ = -1;
  wake_[0] = wake_[1] = -1;
}

void NetlinkReachability::watch(int fd, int wake) {
  char buffer[8192];
  for (;;) {
    pollfd fds[2] = {{fd, POLLIN, 0}, {wake, POLLIN, 0}};
    if (poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (fds[1].revents != 0) return;
    if ((fds[0].revents & POLLIN) == 0) continue;
    if (recv(fd, buffer, sizeof buffer, 0) <= 0) continue;
    deliver();
  }
}

void NetlinkReachability::deliver() {
  const ReachabilityFlags flags = readReachabilityFlags();
  std::function<void(ReachabilityFlags)> callback;
  std::shared_ptr<DispatchQueue> queue;
  {
    std::lock_guard lock(mutex_);
    if (lastFlags_ && *lastFlags_ == flags) return;
    lastFlags_ = flags;
    callback = callback_;
    queue = queue_;
  }
  if (callback && queue) queue->async([callback, flags] { callback(flags); });
}

}  // namespace obx::platform
