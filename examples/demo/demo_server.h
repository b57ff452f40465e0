// DemoServer: the demo application's own backend on 127.0.0.1, so that the journey makes requests of
// its own for the SDK to capture: a catalog that answers, a page that is missing, and a download
// that breaks off after its first bytes. Listens from construction to destruction.
#pragma once

#include <memory>
#include <string>

namespace demo {

class DemoServer {
 public:
  DemoServer();
  ~DemoServer();
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  // "http://127.0.0.1:<port>", or empty when the server could not listen.
  std::string baseURL() const;

 private:
  struct Server;
  std::unique_ptr<Server> server_;
};

}  // namespace demo
