// A TCP server on 127.0.0.1 that reads each request's head and then resets the connection (an RST,
// not an orderly close), as a crashing server or a middlebox dropping the connection does. It
// notes the request line of each connection it reset.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace obx::testing {

class ResettingServer {
 public:
  ResettingServer() {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    int reuse = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(listener_, 16) != 0) {
      ::close(listener_);
      listener_ = -1;
      return;
    }
    socklen_t length = sizeof address;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~ResettingServer() { stop(); }
  ResettingServer(const ResettingServer&) = delete;
  ResettingServer& operator=(const ResettingServer&) = delete;

  bool listening() const { return listener_ >= 0; }
  int port() const { return port_; }
  std::string baseURL() const { return "http://127.0.0.1:" + std::to_string(port_); }

  // The first line of each request whose connection was reset, in order.
  std::vector<std::string> resetRequests() const {
    std::lock_guard lock(mutex_);
    return requests_;
  }

  // Closes the port, so that another server may take it.
  void stop() {
    if (stopping_.exchange(true)) return;
    if (listener_ >= 0) ::shutdown(listener_, SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    if (listener_ >= 0) ::close(listener_);
  }

 private:
  void serve() {
    while (!stopping_) {
      const int connection = ::accept(listener_, nullptr, nullptr);
      if (connection < 0) return;
      std::string head;
      char buffer[4096];
      while (head.find("\r\n\r\n") == std::string::npos && head.size() < 65536) {
        const ssize_t read = ::recv(connection, buffer, sizeof buffer, 0);
        if (read <= 0) break;
        head.append(buffer, static_cast<std::size_t>(read));
      }
      {
        std::lock_guard lock(mutex_);
        requests_.push_back(head.substr(0, head.find("\r\n")));
      }
      // Closing with a zero linger time sends RST instead of FIN.
      linger reset{1, 0};
      ::setsockopt(connection, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
      ::close(connection);
    }
  }

  int listener_ = -1;
  int port_ = 0;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
};

}  // namespace obx::testing
