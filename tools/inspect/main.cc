// obx-inspect: a read-only view of the SDK's spool. Lists the batch folders of a store with their
// age and state, prints the events of a batch deciphered as one JSON object per line, or prints
// the blocks of a single block file. It never writes or deletes anything.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "base/logger.h"
#include "platform/crypto/base64.h"
#include "platform/dispatch/clock.h"
#include "platform/files/file_manager.h"
#include "platform/text/date_format.h"
#include "store/events/image.h"
#include "store/events/json_coding.h"
#include "store/files/file_error.h"
#include "store/files/file_reader.h"
#include "store/files/security.h"
#include "store/repository.h"

namespace {

namespace fs = std::filesystem;
using obx::Repository;

constexpr double kRestingAge = Repository::kRestingAge;
constexpr double kDefaultMaxTimeFileSaved = 1296000.0;
constexpr double kDefaultBatchTime = 5.0;

const char* kHelp = R"(Usage:
  obx-inspect [options] STORE               list the batch folders of a store
  obx-inspect [options] STORE BATCH_ID      print every event of a batch, one JSON line each
  obx-inspect [options] FILE                print the blocks of one block file

STORE is a sandbox root (holding "Library/Application Support/obx.ombrix"), the
"Application Support" folder, or the "obx.ombrix" folder itself.

Batch states, by the age of the folder's ".date.dat" (a folder without one counts as 3.0 s old):
  current   the youngest folder, still within one batch cycle plus the resting time: being written
  resting   2.0 seconds old or younger: its batch may still be written
  ready     waiting for upload
  expired   older than the maximum time a file is kept (15 days): the SDK deletes it at its next listing

Session logs (obx.ombrix.zips/<session>_<lead>/<session>) are listed after the batches. They are
never uploaded; the SDK dates each one at the first listing that sees it and deletes it once older
than the maximum time a file is kept.

Options:
  --max-age SECONDS   the maximum time a file is kept (default 1296000)
  --images            with BATCH_ID: list the batch's images after its events
  --session SESSION_ID LEAD_ID PROPERTY ACCOUNT
                      decipher with the per-session upload key instead of the at-rest key
  -h, --help          show this text

Blocks are deciphered with the at-rest key unless --session is given. A damaged file is
reported, never deleted: this tool only reads.
)";

struct Options {
  double maxAge = kDefaultMaxTimeFileSaved;
  bool images = false;
  std::optional<std::vector<std::string>> session;
  std::vector<std::string> positional;
};

std::shared_ptr<obx::SecurityManager> securityFor(const Options& options) {
  if (options.session) {
    const auto& s = *options.session;
    return std::make_shared<obx::Security>(s[0], s[1], s[2], s[3]);
  }
  return std::make_shared<obx::Security>();
}

// The obx.ombrix folder for what the user named, or nothing.
std::optional<fs::path> storeRootFor(const fs::path& path) {
  const std::vector<fs::path> candidates = {path / "Library" / "Application Support" / "obx.ombrix",
                                            path / "obx.ombrix", path};
  for (const auto& candidate : candidates) {
    if (obx::platform::directoryExistsAtPath(candidate)) return candidate;
  }
  return std::nullopt;
}

std::string formatAge(double seconds) {
  char buffer[64];
  if (seconds < 120) {
    std::snprintf(buffer, sizeof buffer, "%.1f s", seconds);
  } else if (seconds < 7200) {
    std::snprintf(buffer, sizeof buffer, "%.1f min", seconds / 60);
  } else if (seconds < 172800) {
    std::snprintf(buffer, sizeof buffer, "%.1f h", seconds / 3600);
  } else {
    std::snprintf(buffer, sizeof buffer, "%.1f d", seconds / 86400);
  }
  return buffer;
}

// The plain blocks of a file, or the reason it can't be read. Never deletes.
struct Blocks {
  std::vector<std::string> blocks;
  std::optional<std::string> error;
  bool missing = false;
};

Blocks readBlocks(const obx::FileReader& reader, const fs::path& path) {
  Blocks result;
  try {
    auto blocks = reader.readBlocks(path);
    if (!blocks) {
      result.missing = true;
    } else {
      result.blocks = std::move(*blocks);
    }
  } catch (const obx::FileError& error) {
    result.error = error.description;
  }
  return result;
}

std::size_t imageCount(const fs::path& batch) {
  auto listing = obx::platform::contentsOfDirectoryAtPath(batch / "cache");
  return static_cast<std::size_t>(std::count_if(listing.entries.begin(), listing.entries.end(),
                                                [](const auto& entry) { return entry.isRegularFile; }));
}

// The session logs kept beside the batches: one line per session, with its file's size and lines
// and the age counted from the date the store gave it.
void printSessionLogs(const fs::path& root, obx::platform::Date now, const Options& options) {
  auto listing = obx::platform::contentsOfDirectoryAtPath(root / obx::Logger::kLogsDirectoryName);
  if (listing.error || listing.entries.empty()) return;
  std::sort(listing.entries.begin(), listing.entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  std::printf("\n%-44s %10s  %-8s %9s %7s\n", "SESSION LOG", "AGE", "STATE", "BYTES", "LINES");
  for (const auto& session : listing.entries) {
    if (!session.isDirectory) continue;
    auto date = Repository::readDateFile(session.url);
    std::string age = date ? formatAge(now - *date) : "-";
    std::string state = date && now - *date > options.maxAge ? "expired" : "kept";
    auto files = obx::platform::contentsOfDirectoryAtPath(session.url);
    for (const auto& file : files.entries) {
      if (!file.isRegularFile || file.isHidden) continue;
      auto contents = obx::platform::contentsAtPath(file.url).value_or("");
      std::printf("%-44s %10s  %-8s %9zu %7zu\n", (session.name + "/" + file.name).c_str(), age.c_str(), state.c_str(),
                  contents.size(), static_cast<std::size_t>(std::count(contents.begin(), contents.end(), '\n')));
    }
  }
}

int listBatches(const fs::path& root, const Options& options) {
  obx::FileReader reader(securityFor(options));
  const obx::platform::Date now = obx::platform::SystemClock().now();
  auto listing = obx::platform::contentsOfDirectoryAtPath(root);
  if (listing.error) {
    std::cerr << "obx-inspect: " << *listing.error << "\n";
    return 1;
  }
  struct Row {
    std::string name;
    std::optional<obx::platform::Date> date;
    double age = 0;
  };
  std::vector<Row> rows;
  for (const auto& entry : listing.entries) {
    if (!entry.isDirectory || entry.isHidden || entry.name == obx::Logger::kLogsDirectoryName) continue;
    Row row{entry.name, Repository::readDateFile(entry.url), 0};
    row.age = row.date ? now - *row.date : Repository::kUndatedAge;
    rows.push_back(row);
  }
  std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.age > b.age; });

  std::cout << "Store: " << root.string() << "\n";
  if (rows.empty()) {
    std::cout << "No batch folders.\n";
    printSessionLogs(root, now, options);
    return 0;
  }
  std::printf("%-44s %-19s %10s  %-8s %7s %7s\n", "BATCH", "CREATED (local)", "AGE", "STATE", "EVENTS", "IMAGES");
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& row = rows[i];
    const bool youngest = i + 1 == rows.size();
    std::string state;
    if (youngest && row.date && row.age <= kDefaultBatchTime + kRestingAge) {
      state = "current";
    } else if (row.age <= kRestingAge) {
      state = "resting";
    } else if (row.age > options.maxAge) {
      state = "expired";
    } else {
      state = "ready";
    }
    const fs::path folder = root / row.name;
    Blocks blocks = readBlocks(reader, folder / row.name);
    std::string events = blocks.error ? "damaged" : blocks.missing ? "-" : std::to_string(blocks.blocks.size());
    std::string created = row.date ? obx::platform::formatDate(*row.date, "yyyy-MM-dd HH:mm:ss") : "(no .date.dat)";
    std::printf("%-44s %-19s %10s  %-8s %7s %7zu\n", row.name.c_str(), created.c_str(), formatAge(row.age).c_str(),
                state.c_str(), events.c_str(), imageCount(folder));
    if (blocks.error) std::printf("  ! %s: %s\n", (folder / row.name).c_str(), blocks.error->c_str());
  }
  printSessionLogs(root, now, options);
  return 0;
}

// One line per block: JSON as it is stored, an image as a summary, anything else as hex.
void printBlock(const std::string& block) {
  try {
    obx::Json json = obx::parseJSON(block);
    if (json.is_object() && json.contains("data") && json.contains("index") && json.contains("timestamp") &&
        !json.contains("t")) {
      auto image = json.get<obx::Image>();
      std::cout << "image index=" << image.index << " timestamp=" << image.timestamp << " bytes=" << image.data.size()
                << "\n";
      return;
    }
    std::cout << block << "\n";
  } catch (...) {
    std::string preview = block.substr(0, 64);
    std::cout << "raw " << block.size() << " bytes: ";
    for (unsigned char c : preview) std::printf("%02x", c);
    std::cout << (block.size() > preview.size() ? "..." : "") << "\n";
  }
}

int printBatch(const fs::path& root, const std::string& batchID, const Options& options) {
  obx::FileReader reader(securityFor(options));
  const fs::path folder = root / batchID;
  if (!obx::platform::directoryExistsAtPath(folder)) {
    std::cerr << "obx-inspect: no batch folder " << folder.string() << "\n";
    return 1;
  }
  Blocks blocks = readBlocks(reader, folder / batchID);
  if (blocks.missing) std::cerr << "obx-inspect: the batch has no event file\n";
  for (const auto& block : blocks.blocks) printBlock(block);
  int status = 0;
  if (blocks.error) {
    std::cerr << "obx-inspect: damaged event file " << (folder / batchID).string() << ": " << *blocks.error << "\n";
    status = 2;
  }
  if (options.images) {
    auto listing = obx::platform::contentsOfDirectoryAtPath(folder / "cache");
    std::sort(listing.entries.begin(), listing.entries.end(),
              [](const auto& a, const auto& b) { return std::atoll(a.name.c_str()) < std::atoll(b.name.c_str()); });
    for (const auto& entry : listing.entries) {
      if (!entry.isRegularFile) continue;
      Blocks image = readBlocks(reader, entry.url);
      if (image.error) {
        std::cerr << "obx-inspect: damaged image file " << entry.url.string() << ": " << *image.error << "\n";
        status = 2;
        continue;
      }
      if (!image.blocks.empty()) printBlock(image.blocks.front());
    }
  }
  return status;
}

int printFile(const fs::path& path, const Options& options) {
  obx::FileReader reader(securityFor(options));
  Blocks blocks = readBlocks(reader, path);
  for (std::size_t i = 0; i < blocks.blocks.size(); ++i) {
    std::cout << "#" << i << " (" << blocks.blocks[i].size() << " bytes) ";
    printBlock(blocks.blocks[i]);
  }
  if (blocks.error) {
    std::cerr << "obx-inspect: damaged block file " << path.string() << ": " << *blocks.error << "\n";
    return 2;
  }
  if (blocks.blocks.empty()) std::cout << "No blocks.\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    std::string argument = argv[i];
    if (argument == "-h" || argument == "--help") {
      std::cout << kHelp;
      return 0;
    } else if (argument == "--images") {
      options.images = true;
    } else if (argument == "--max-age") {
      if (i + 1 >= argc) {
        std::cerr << "obx-inspect: --max-age needs a number of seconds\n";
        return 64;
      }
      try {
        options.maxAge = std::stod(argv[++i]);
      } catch (...) {
        std::cerr << "obx-inspect: --max-age needs a number of seconds\n";
        return 64;
      }
    } else if (argument == "--session") {
      if (i + 4 >= argc) {
        std::cerr << "obx-inspect: --session needs SESSION_ID LEAD_ID PROPERTY ACCOUNT\n";
        return 64;
      }
      options.session = std::vector<std::string>{argv[i + 1], argv[i + 2], argv[i + 3], argv[i + 4]};
      i += 4;
    } else if (!argument.empty() && argument[0] == '-') {
      std::cerr << "obx-inspect: unknown option " << argument << " (see --help)\n";
      return 64;
    } else {
      options.positional.push_back(argument);
    }
  }
  if (options.positional.empty() || options.positional.size() > 2) {
    std::cerr << kHelp;
    return 64;
  }
  const fs::path path = options.positional[0];
  if (!obx::platform::fileExistsAtPath(path)) {
    std::cerr << "obx-inspect: " << path.string() << " does not exist\n";
    return 1;
  }
  if (!obx::platform::directoryExistsAtPath(path)) {
    if (options.positional.size() == 2) {
      std::cerr << "obx-inspect: " << path.string() << " is a file; a batch ID needs a store folder\n";
      return 64;
    }
    return printFile(path, options);
  }
  auto root = storeRootFor(path);
  if (!root) {
    std::cerr << "obx-inspect: no store under " << path.string() << "\n";
    return 1;
  }
  if (options.positional.size() == 2) return printBatch(*root, options.positional[1], options);
  return listBatches(*root, options);
}
