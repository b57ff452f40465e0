// obx-collector: a local collection server for developing with the SDK. It serves the live
// configuration, takes the SDK's screen uploads, deciphers and checks them, and stores each session
// with a replay page. The first line on stdout is "listening on http://127.0.0.1:<port>", so a parent
// process can start it with --port 0 and read where it listens.
#include <signal.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "collector/collector.h"

namespace {

const char* kHelp = R"(Usage: obx-collector --account NAME [options]

Serves, on HTTP:
  GET  /i/<account>/<property>/app.session   the live configuration document
  POST /asset/?type=zip&wid=..&sk=..&sid=..&lid=..&passed=..&asset=..
                                             a screen upload: deciphered, checked, stored
  GET  /replay/<sessionID>/index.html        the replay page of a stored session

Options:
  --account NAME      the account whose uploads are deciphered (required; repeat to try several)
  --host HOST         the address to listen on (default 127.0.0.1)
  --port PORT         the port, 0 for a free one (default 0)
  --data DIR          where sessions are stored (default ./obx-collector-data)
  --config DIR        configuration documents: DIR/<account>/<property>.json, then DIR/default.json;
                      read again on every request. Without a document the answer is {}
  --status CODE       answer every upload with CODE and keep nothing of it
  --fail-first N      answer the first N uploads with the failure status
  --fail-share X      answer this share of uploads (0 to 1) with the failure status
  --fail-status CODE  the failure status (default 503)
  --seed N            seed of the draw behind --fail-share (default 0)
  --fail-mode MODE    how a failing upload fails: "status" (answered with the failure status,
                      the default) or "silence" (never answered, held until the client gives up)
  --answer-delay S    every upload waits S seconds before it is taken, as on a slow server
  -h, --help          show this text

An upload that no --account deciphers is answered 500, so that the SDK keeps the screen and sends
it again, with an ERROR line: restart with the right account and it arrives. Uploads are refused
(400) when they would unpack past 64 MiB an entry or 256 MiB in all, or nest JSON deeper than 128.

Each session is stored under DIR/<sessionID>/: one folder <nnn>_<screenID> per screen with
events.json and <index>.jpg, and index.html to replay it. Stop with Ctrl-C or SIGTERM.
)";

template <typename T>
bool parseNumber(std::string_view text, T& value) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

bool parseShare(const std::string& text, double& value) {
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return !text.empty() && end == text.c_str() + text.size();
}

int usageError(const std::string& message) {
  std::cerr << "obx-collector: " << message << "\nTry obx-collector --help.\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  obx::collector::Collector::Options options;
  options.dataDirectory = "obx-collector-data";
  options.keepScreensInMemory = false;

  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "-h" || argument == "--help") {
      std::cout << kHelp;
      return 0;
    }
    if (i + 1 >= argc) return usageError("option " + argument + " needs a value, or is unknown");
    const std::string value = argv[++i];
    bool ok = true;
    if (argument == "--account") {
      options.accounts.push_back(value);
    } else if (argument == "--host") {
      options.host = value;
    } else if (argument == "--port") {
      ok = parseNumber(value, options.port) && options.port >= 0 && options.port <= 65535;
    } else if (argument == "--data") {
      options.dataDirectory = value;
    } else if (argument == "--config") {
      options.configDirectory = value;
    } else if (argument == "--status") {
      int status = 0;
      ok = parseNumber(value, status) && status >= 100 && status <= 599;
      options.forcedStatus = status;
    } else if (argument == "--fail-first") {
      ok = parseNumber(value, options.failFirst);
    } else if (argument == "--fail-share") {
      ok = parseShare(value, options.failShare) && options.failShare >= 0.0 && options.failShare <= 1.0;
    } else if (argument == "--fail-status") {
      ok = parseNumber(value, options.failStatus) && options.failStatus >= 100 && options.failStatus <= 599;
    } else if (argument == "--seed") {
      ok = parseNumber(value, options.seed);
    } else if (argument == "--fail-mode") {
      ok = value == "status" || value == "silence";
      options.failureKind = value == "silence" ? obx::collector::Collector::Options::FailureKind::silence
                                               : obx::collector::Collector::Options::FailureKind::status;
    } else if (argument == "--answer-delay") {
      ok = parseShare(value, options.answerDelaySeconds) && options.answerDelaySeconds >= 0.0;
    } else {
      return usageError("unknown option " + argument);
    }
    if (!ok) return usageError("bad value \"" + value + "\" for " + argument);
  }
  if (options.accounts.empty()) return usageError("--account is required");
  std::error_code code;
  if (options.configDirectory && !std::filesystem::is_directory(*options.configDirectory, code)) {
    std::cerr << "obx-collector: warning: " << options.configDirectory->string()
              << " is not a directory yet; documents are empty until it is\n";
  }

  // A parent that starts us in the background may have left SIGINT ignored, and an ignored signal
  // never reaches sigwait: take the default disposition back first. The signals are then blocked
  // before any thread starts, so that every thread inherits the mask and they wait for sigwait.
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  obx::collector::Collector collector(options);
  if (!collector.start()) return 1;
  std::printf("listening on %s\n", collector.baseURL().c_str());
  std::fflush(stdout);

  int received = 0;
  sigwait(&signals, &received);
  std::printf("stopping on %s\n", received == SIGINT ? "SIGINT" : "SIGTERM");
  std::fflush(stdout);
  collector.stop();
  return 0;
}
