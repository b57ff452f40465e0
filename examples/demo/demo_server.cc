#include "demo_server.h"

#include <httplib.h>

#include <chrono>
#include <thread>

namespace demo {

struct DemoServer::Server {
  httplib::Server http;
  std::thread thread;
  int port = 0;
};

DemoServer::DemoServer() : server_(std::make_unique<Server>()) {
  auto& http = server_->http;
  http.Get("/catalog", [](const httplib::Request&, httplib::Response& response) {
    response.set_content(R"([{"id":1,"name":"Lamp"},{"id":2,"name":"Chair"}])", "application/json");
  });
  http.Get("/brochure.pdf", [](const httplib::Request&, httplib::Response& response) {
    // Promises 64 KB and closes the connection after the first 1 KB: the download fails.
    response.set_content_provider(64 * 1024, "application/pdf",
                                  [](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                    if (offset > 0) return false;
                                    const std::string first(1024, '%');
                                    sink.write(first.data(), first.size());
                                    return true;
                                  });
  });
  http.set_keep_alive_max_count(1);
  server_->port = http.bind_to_any_port("127.0.0.1");
  if (server_->port <= 0) return;
  server_->thread = std::thread([this] { server_->http.listen_after_bind(); });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (!http.is_running() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
}

DemoServer::~DemoServer() {
  server_->http.stop();
  if (server_->thread.joinable()) server_->thread.join();
}

std::string DemoServer::baseURL() const {
  if (server_->port <= 0) return {};
  return "http://127.0.0.1:" + std::to_string(server_->port);
}

}  // namespace demo
