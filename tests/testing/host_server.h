// HostServer: the host application's own HTTP server on 127.0.0.1, on a port of its own, for tests
// of the requests an application makes beside the SDK. Its routes:
//   GET /items      200, kItems as JSON            GET /missing   404, kMissing
//   POST /orders    201, the size of the body      PUT /orders    500, "down"
//   PATCH /orders   200, the body echoed           DELETE /orders 204, no body
//   GET /partial    promises 4096 bytes, sends 16 and closes the connection
//   GET /plain      200, "plain"; its hits are counted
//   GET /slow       answers "late" only once the server is destroyed (or after ten seconds), and
//                   notes the query of each request it holds
#pragma once

#include <memory>
#include <string>

namespace obx::testing {

class HostServer {
 public:
  static constexpr const char* kItems = "[1,2,3]";
  static constexpr const char* kMissing = "no such item";

  // Listens before it returns; running() says whether it could.
  HostServer();
  ~HostServer();
  HostServer(const HostServer&) = delete;
  HostServer& operator=(const HostServer&) = delete;

  bool running() const;
  // "http://127.0.0.1:<port>"
  std::string base() const;
  int plainHits() const;
  // Whether a request to /slow with this query is held.
  bool holds(const std::string& query) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// A port on 127.0.0.1 that refuses connections: bound, never listening, held while this lives so
// that no other server takes it.
class ClosedPort {
 public:
  ClosedPort();
  ~ClosedPort();
  ClosedPort(const ClosedPort&) = delete;
  ClosedPort& operator=(const ClosedPort&) = delete;

  int port() const { return port_; }
  std::string base() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  int socket_ = -1;
  int port_ = 0;
};

}  // namespace obx::testing
