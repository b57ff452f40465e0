#include "testing/host_server.h"

#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace obx::testing {
namespace {
constexpr auto kWait = std::chrono::seconds(10);
}

struct HostServer::State {
  httplib::Server server;
  std::thread thread;
  int port = 0;
  std::atomic<int> plainHits{0};
  mutable std::mutex mutex;
  std::condition_variable released;
  bool release = false;
  std::vector<std::string> held;
};

HostServer::HostServer() : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.server.Get("/items", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(kItems, "application/json");
  });
  s.server.Get("/missing", [](const httplib::Request&, httplib::Response& response) {
    response.status = 404;
    response.set_content(kMissing, "text/plain");
  });
  s.server.Post("/orders", [](const httplib::Request& request, httplib::Response& response) {
    response.status = 201;
    response.set_content(std::to_string(request.body.size()), "text/plain");
  });
  s.server.Put("/orders", [](const httplib::Request&, httplib::Response& response) {
    response.status = 500;
    response.set_content("down", "text/plain");
  });
  s.server.Patch("/orders", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(request.body, "text/plain");
  });
  s.server.Delete("/orders", [](const httplib::Request&, httplib::Response& response) { response.status = 204; });
  s.server.Get("/partial", [](const httplib::Request&, httplib::Response& response) {
    response.set_content_provider(4096, "application/octet-stream",
                                  [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                    if (offset > 0) return false;
                                    sink.write("0123456789abcdef", 16);
                                    return true;
                                  });
  });
  s.server.Get("/plain", [&s](const httplib::Request&, httplib::Response& response) {
    ++s.plainHits;
    response.set_content("plain", "text/plain");
  });
  s.server.Get("/slow", [&s](const httplib::Request& request, httplib::Response& response) {
    std::unique_lock lock(s.mutex);
    s.held.push_back(request.target.substr(request.target.find('?') + 1));
    s.released.wait_for(lock, kWait, [&s] { return s.release; });
    response.set_content("late", "text/plain");
  });
  // One request per connection, so that stopping the server never waits for an idle one.
  s.server.set_keep_alive_max_count(1);
  s.port = s.server.bind_to_any_port("127.0.0.1");
  if (s.port <= 0) return;
  s.thread = std::thread([&s] { s.server.listen_after_bind(); });
  // stop() only ends a server whose accept loop has begun.
  const auto deadline = std::chrono::steady_clock::now() + kWait;
  while (!s.server.is_running() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
}

HostServer::~HostServer() {
  {
    std::lock_guard lock(state_->mutex);
    state_->release = true;
  }
  state_->released.notify_all();
  state_->server.stop();
  if (state_->thread.joinable()) state_->thread.join();
}

bool HostServer::running() const { return state_->port > 0 && state_->server.is_running(); }
std::string HostServer::base() const { return "http://127.0.0.1:" + std::to_string(state_->port); }
int HostServer::plainHits() const { return state_->plainHits; }

bool HostServer::holds(const std::string& query) const {
  std::lock_guard lock(state_->mutex);
  return std::find(state_->held.begin(), state_->held.end(), query) != state_->held.end();
}

ClosedPort::ClosedPort() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address);
  ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort() { ::close(socket_); }

}  // namespace obx::testing
