#include "collector/collector.h"

#include <httplib.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <random>
#include <thread>

#include "collector/configuration_store.h"
#include "collector/session_archive.h"
#include "collector/upload_decoder.h"
#include "config/session_configuration.h"

namespace obx::collector {
namespace {

// What a handler adds to its request's log line. The HTTP library runs the post-routing handler on
// the thread that ran the route's handler, right after it.
thread_local std::string requestNote;

void printLine(const std::string& line) {
  static std::mutex mutex;
  std::lock_guard lock(mutex);
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

bool isWildcard(const std::string& host) { return host.empty() || host == "0.0.0.0" || host == "::"; }

}  // namespace

struct Collector::State {
  explicit State(Options given)
      : options(std::move(given)),
        configurations(options.configDirectory),
        archive(options.dataDirectory),
        decoder(options.accounts),
        random(options.seed),
        failFirstRemaining(options.failFirst),
        forcedStatus(options.forcedStatus) {
    if (!options.log) options.log = printLine;
  }

  void log(const std::string& line) const { options.log(line); }

  // The status the failure options give this upload, or nothing to process it.
  std::optional<int> planFailure() {
    std::lock_guard lock(mutex);
    if (forcedStatus) return *forcedStatus;
    if (failFirstRemaining > 0) {
      --failFirstRemaining;
      return options.failStatus;
    }
    if (options.failShare > 0.0 && std::uniform_real_distribution<double>(0.0, 1.0)(random) < options.failShare) {
      return options.failStatus;
    }
    return std::nullopt;
  }

  void serveConfiguration(const httplib::Request& request, httplib::Response& response) {
    const std::string account = request.matches[1];
    const std::string property = request.matches[2];
    auto document = configurations.lookup(account, property);
    std::string error;
    if (!SessionConfiguration::decode(document.text, &error)) {
      log("warning: the configuration of " + account + "/" + property + " from " + document.source +
          " does not decode (" + error + "); served as it is");
    }
    {
      std::lock_guard lock(mutex);
      ++statistics.configurationRequests;
    }
    response.status = 200;
    response.set_content(document.text, "application/json");
    requestNote = "configuration " + account + "/" + property + " from " + document.source;
  }

  void takeUpload(const httplib::Request& request, httplib::Response& response) {
    {
      std::lock_guard lock(mutex);
      ++statistics.uploads;
    }
    auto answer = [&](int status, std::string note) {
      response.status = status;
      response.body.clear();
      requestNote = std::move(note);
    };

    std::string error;
    auto query = UploadQuery::fromParameters(request.params, &error);
    if (!query) {
      countRejected();
      return answer(400, "rejected: " + error);
    }
    const std::string where = "session " + query->sessionID + " screen " + query->cScreenID;

    if (options.answerDelaySeconds > 0.0) holdUntilStopping(options.answerDelaySeconds);
    if (auto failure = planFailure()) {
      {
        std::lock_guard lock(mutex);
        ++statistics.failedOnPurpose;
      }
      if (options.failureKind == Options::FailureKind::silence) {
        holdUntilStopping(3600.0);
        return answer(503, where + " · never answered on purpose");
      }
      return answer(*failure, where + " · failed on purpose");
    }

    UploadDecoder::Failure failure = UploadDecoder::Failure::malformed;
    auto upload = decoder.decode(*query, request.body, &error, &failure);
    if (!upload && failure == UploadDecoder::Failure::undecipherable) {
      // A 400 would make the SDK delete the screen for good, though the fault is most likely this
      // collector's --account: a server error keeps it on the device, to be sent again.
      {
        std::lock_guard lock(mutex);
        ++statistics.undecipherable;
      }
      log("ERROR: " + where + ": no account this collector serves (" + accountList() +
          ") deciphers the upload; answered " + std::to_string(kUndecipherableStatus) +
          " so that the SDK keeps the screen. Is --account right? " + error);
      return answer(kUndecipherableStatus, where + " · undecipherable: " + error);
    }
    if (!upload) {
      countRejected();
      return answer(400, where + " · rejected: " + error);
    }
    for (const std::string& warning : upload->warnings) log("warning: " + where + ": " + warning);

    auto stored = archive.store(*query, *upload, &error);
    if (!stored) return answer(500, where + " · not stored: " + error);
    if (!stored->warning.empty()) log("warning: " + where + ": " + stored->warning);

    {
      std::lock_guard lock(mutex);
      if (stored->duplicate) {
        ++statistics.duplicates;
      } else {
        ++statistics.accepted;
        ++screenCounts[query->sessionID];
        if (options.keepScreensInMemory) {
          ReceivedScreen screen;
          screen.sessionID = query->sessionID;
          screen.rawSessionID = upload->rawSessionID;
          screen.leadID = query->leadID;
          screen.cScreenID = query->cScreenID;
          screen.property = query->property;
          screen.account = upload->account;
          screen.asset = query->asset;
          screen.passed = query->passed;
          screen.dnt = query->dnt;
          screen.jspsf = query->jspsf;
          screen.body = std::move(upload->body);
          screen.events = std::move(upload->events);
          screen.images = std::move(upload->images);
          screen.folder = stored->folder;
          screens.push_back(std::move(screen));
        }
      }
    }
    answer(200, where + (stored->duplicate ? " · duplicate of " : " · stored in ") +
                    stored->folder.lexically_relative(options.dataDirectory).string());
  }

  std::string accountList() const {
    std::string list;
    for (const std::string& account : options.accounts) list += (list.empty() ? "" : ", ") + account;
    return list;
  }

  // Waits `seconds`, or less once stop() begins, so that a held request never holds the stop.
  void holdUntilStopping(double seconds) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, std::chrono::duration<double>(seconds), [&] { return stopping; });
  }

  void countRejected() {
    std::lock_guard lock(mutex);
    ++statistics.rejected;
  }

  void logRequest(const httplib::Request& request, const httplib::Response& response) {
    {
      std::lock_guard lock(mutex);
      ++statistics.requests[{request.path, response.status}];
      statistics.bytesReceived += request.body.size();
    }
    changed.notify_all();
    std::string line = request.method + " " + request.path + " " + std::to_string(response.status) + " in " +
                       std::to_string(request.body.size()) + " B out " + std::to_string(response.body.size()) + " B";
    if (!requestNote.empty()) line += " · " + requestNote;
    requestNote.clear();
    log(line);
  }

  Options options;
  ConfigurationStore configurations;
  SessionArchive archive;
  UploadDecoder decoder;
  httplib::Server server;
  std::thread thread;
  std::atomic<bool> listenReturned{false};
  int port = 0;
  bool started = false;

  mutable std::mutex mutex;
  mutable std::condition_variable changed;
  std::mt19937_64 random;
  std::size_t failFirstRemaining;
  std::optional<int> forcedStatus;
  bool stopping = false;
  Statistics statistics;
  std::map<std::string, std::size_t> screenCounts;
  std::vector<ReceivedScreen> screens;
};

Collector::Collector(Options options) : state_(std::make_unique<State>(std::move(options))) {}

Collector::~Collector() { stop(); }

bool Collector::start() {
  State& state = *state_;
  const Options& options = state.options;
  if (state.started) {
    state.log("collector: already started");
    return false;
  }
  if (options.accounts.empty()) {
    state.log("collector: no account given; uploads could not be deciphered");
    return false;
  }
  if (options.dataDirectory.empty()) {
    state.log("collector: no data directory given");
    return false;
  }
  if (options.failShare < 0.0 || options.failShare > 1.0) {
    state.log("collector: the share of failing uploads must lie in [0, 1], not " + std::to_string(options.failShare));
    return false;
  }
  std::error_code code;
  std::filesystem::create_directories(options.dataDirectory, code);
  if (code) {
    state.log("collector: cannot create the data directory " + options.dataDirectory.string() + ": " + code.message());
    return false;
  }

  httplib::Server& server = state.server;
  server.Get(R"(/i/([^/]+)/([^/]+)/app\.session)",
             [&state](const httplib::Request& request, httplib::Response& response) {
               state.serveConfiguration(request, response);
             });
  auto upload = [&state](const httplib::Request& request, httplib::Response& response) {
    state.takeUpload(request, response);
  };
  server.Post("/asset/", upload);
  server.Post("/asset", upload);
  // The stored sessions, so that a replay page can be opened from the running collector.
  server.set_mount_point("/replay", options.dataDirectory.string());
  // A replay page asked for is made first if uploads have left it stale.
  server.set_pre_routing_handler([&state](const httplib::Request& request, httplib::Response&) {
    static const std::string prefix = "/replay/";
    if (request.method == "GET" && request.path.starts_with(prefix)) {
      const std::string rest = request.path.substr(prefix.size());
      const std::string sessionID = rest.substr(0, rest.find('/'));
      if (!sessionID.empty()) {
        for (const std::string& failure : state.archive.writePages(sessionID)) state.log("warning: " + failure);
      }
    }
    return httplib::Server::HandlerResponse::Unhandled;
  });
  // Runs for every answer, 404s included, before it is written: a client that has its answer sees
  // it counted.
  server.set_post_routing_handler([&state](const httplib::Request& request, httplib::Response& response) {
    state.logRequest(request, response);
  });
  // Address reuse for a quick restart, but not port sharing: the library's default also sets
  // SO_REUSEPORT, with which a second collector would bind a taken port and take half its traffic.
  server.set_socket_options([](int socket) {
    int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  // One request per connection: stop() then never waits on an idle client's open connection.
  server.set_keep_alive_max_count(1);
  server.set_payload_max_length(512u * 1024u * 1024u);

  int bound = -1;
  if (options.port == 0) {
    bound = server.bind_to_any_port(options.host);
  } else if (server.bind_to_port(options.host, options.port)) {
    bound = options.port;
  }
  if (bound <= 0) {
    state.log("collector: cannot listen on " + options.host + ":" + std::to_string(options.port) +
              " (address in use, not local, or not permitted)");
    return false;
  }
  state.port = bound;
  state.started = true;
  {
    std::lock_guard lock(state.mutex);
    state.stopping = false;
  }
  state.listenReturned = false;
  state.thread = std::thread([&state] {
    state.server.listen_after_bind();
    state.listenReturned = true;
  });
  // stop() only ends a server whose accept loop has begun.
  while (!server.is_running() && !state.listenReturned) std::this_thread::yield();
  if (!server.is_running()) {
    state.thread.join();
    state.started = false;
    state.log("collector: the server on port " + std::to_string(bound) + " stopped at once");
    return false;
  }
  return true;
}

void Collector::stop() {
  State& state = *state_;
  if (!state.started) return;
  {
    std::lock_guard lock(state.mutex);
    state.stopping = true;
  }
  state.changed.notify_all();
  state.server.stop();
  if (state.thread.joinable()) state.thread.join();
  state.started = false;
  for (const std::string& failure : state.archive.writePages()) state.log("warning: " + failure);
}

int Collector::port() const { return state_->port; }

std::string Collector::baseURL() const {
  const std::string& host = state_->options.host;
  return "http://" + (isWildcard(host) ? std::string("127.0.0.1") : host) + ":" + std::to_string(state_->port);
}

void Collector::setConfiguration(const std::string& account, const std::string& property, std::string json) {
  state_->configurations.set(account, property, std::move(json));
}

void Collector::removeConfiguration(const std::string& account, const std::string& property) {
  state_->configurations.remove(account, property);
}

void Collector::setForcedStatus(std::optional<int> status) {
  std::lock_guard lock(state_->mutex);
  state_->forcedStatus = status;
}

std::vector<Collector::ReceivedScreen> Collector::screens() const {
  std::lock_guard lock(state_->mutex);
  return state_->screens;
}

std::vector<Collector::ReceivedScreen> Collector::screensOfSession(const std::string& sessionID) const {
  std::lock_guard lock(state_->mutex);
  std::vector<ReceivedScreen> found;
  for (const auto& screen : state_->screens) {
    if (screen.sessionID == sessionID) found.push_back(screen);
  }
  return found;
}

std::map<std::string, std::size_t> Collector::screenCounts() const {
  std::lock_guard lock(state_->mutex);
  return state_->screenCounts;
}

Collector::Statistics Collector::statistics() const {
  std::lock_guard lock(state_->mutex);
  return state_->statistics;
}

std::size_t Collector::requestCount(const std::string& path, int status) const {
  std::lock_guard lock(state_->mutex);
  auto found = state_->statistics.requests.find({path, status});
  return found == state_->statistics.requests.end() ? 0 : found->second;
}

bool Collector::waitUntil(const std::function<bool(const Statistics&)>& predicate, double timeoutSeconds) const {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_for(lock, std::chrono::duration<double>(timeoutSeconds),
                                  [&] { return predicate(state_->statistics); });
}

}  // namespace obx::collector
