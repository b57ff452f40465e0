// Collector: a local collection server for one account. It serves the live-configuration document
// at "GET /i/<account>/<property>/app.session" and takes screen uploads at "POST /asset/?type=zip&...":
// it deciphers and unpacks each one, checks its events, and stores it under the data directory with
// a replay page per session (see SessionArchive). Uploads can be made to fail on purpose (a forced
// status, the first N, or a seeded share) to exercise a client's retries.
//
// The server runs on its own thread from `start()` to `stop()`; requests are handled on the HTTP
// library's worker threads. Every public method is thread-safe. One line per request goes to the
// log sink: method, path, status, bytes in and out, and for an upload its session and screen.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/events/event.h"
#include "store/events/json_coding.h"

namespace obx::collector {

class Collector {
 public:
  // The answer to an upload that no account served deciphers: a server error, after which the SDK
  // keeps the screen and sends it again, where a 400 would make it delete the screen.
  static constexpr int kUndecipherableStatus = 500;

  struct Options {
    std::string host = "127.0.0.1";
    int port = 0;  // 0 picks a free port
    // Where sessions are stored; created by start() when missing.
    std::filesystem::path dataDirectory;
    // Holds "<account>/<property>.json" and "default.json".
    std::optional<std::filesystem::path> configDirectory;
    // The accounts whose keys are tried on an upload, in order. At least one is required.
    std::vector<std::string> accounts;
    // Answer every upload with this status and keep nothing of it.
    std::optional<int> forcedStatus;
    // Answer the first N uploads with `failStatus`.
    std::size_t failFirst = 0;
    // Answer this share of the uploads, drawn with `seed`, with `failStatus`. In [0, 1].
    double failShare = 0.0;
    int failStatus = 503;
    // How a failing upload fails: answered with `failStatus`, or never answered (the request is
    // held until the client gives up or the collector stops, and nothing is kept).
    enum class FailureKind { status, silence };
    FailureKind failureKind = FailureKind::status;
    // Seconds every upload waits before it is taken, as on a slow server.
    double answerDelaySeconds = 0.0;
    std::uint64_t seed = 0;
    // Keep every accepted screen, images included, for `screens()`. A long-running collector
    // turns this off and reads the disk instead.
    bool keepScreensInMemory = true;
    // Receives each log line; by default they go to stdout, flushed line by line.
    std::function<void(const std::string&)> log;
  };

  // One accepted screen as it was received, after deciphering.
  struct ReceivedScreen {
    std::string sessionID;     // as in the query (cleaned by the SDK)
    std::string rawSessionID;  // the form the key was derived from
    std::string leadID;
    std::string cScreenID;
    std::string property;
    std::string account;
    std::string asset;
    std::int64_t passed = 0;
    std::optional<std::int64_t> dnt;
    std::optional<bool> jspsf;
    Json body;  // the JSON array of events
    std::vector<AnyEvent> events;
    std::map<std::int64_t, std::string> images;  // index -> JPEG bytes
    std::filesystem::path folder;
  };

  struct Statistics {
    std::size_t uploads = 0;          // upload requests, whatever their answer
    std::size_t accepted = 0;         // screens stored
    std::size_t duplicates = 0;       // uploads of an asset already stored, answered 200
    std::size_t rejected = 0;         // uploads answered 400
    std::size_t undecipherable = 0;   // uploads no account's key deciphers, answered kUndecipherableStatus
    std::size_t failedOnPurpose = 0;  // uploads answered by the failure options
    std::size_t configurationRequests = 0;
    std::uint64_t bytesReceived = 0;  // request bodies of every request
    std::map<std::pair<std::string, int>, std::size_t> requests;  // (path without query, status) -> count
  };

  explicit Collector(Options options);
  ~Collector();
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;

  // Binds and starts serving on a thread of its own. False, with the reason logged, when the
  // options are unusable or the address can't be bound. Call once.
  bool start();
  // Stops serving and joins the thread; requests in progress finish first. Idempotent.
  void stop();

  // The bound port, 0 before start().
  int port() const;
  // "http://127.0.0.1:<port>" (the host given, unless it is a wildcard address).
  std::string baseURL() const;

  // Serves `json` for (account, property) from now on, ahead of the files; it is sent as it is,
  // even when it does not decode as a configuration document.
  void setConfiguration(const std::string& account, const std::string& property, std::string json);
  void removeConfiguration(const std::string& account, const std::string& property);

  // The forced status changed while running.
  void setForcedStatus(std::optional<int> status);

  std::vector<ReceivedScreen> screens() const;
  std::vector<ReceivedScreen> screensOfSession(const std::string& sessionID) const;
  // Screens accepted this run per session ID.
  std::map<std::string, std::size_t> screenCounts() const;
  Statistics statistics() const;
  std::size_t requestCount(const std::string& path, int status) const;

  // Blocks until `predicate` holds for the statistics or `timeoutSeconds` pass; false on timeout.
  // For tests that drive a client on other threads.
  bool waitUntil(const std::function<bool(const Statistics&)>& predicate, double timeoutSeconds) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace obx::collector
