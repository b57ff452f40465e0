#include "platform/zip/zip_archive.h"

#include <sys/stat.h>
#include <zip.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <set>
#include <system_error>

namespace obx::platform {
namespace {

std::string errorText(zip_error_t* error) {
  const char* text = zip_error_strerror(error);
  return text ? text : "unknown ZIP error";
}

std::string archiveErrorText(zip_t* archive) { return errorText(zip_get_error(archive)); }

std::string openErrorText(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = errorText(&error);
  zip_error_fini(&error);
  return text;
}

// The first `limit` bytes of a file (all of a shorter one) into `bytes`; the error text, or nothing.
std::optional<std::string> readStart(const std::filesystem::path& path, std::size_t limit, Data& bytes) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return "cannot open " + path.string();
  bytes.resize(limit);
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(limit));
  if (stream.bad()) return "cannot read " + path.string();
  bytes.resize(static_cast<std::size_t>(stream.gcount()));
  return std::nullopt;
}

time_t modificationTime(const std::filesystem::path& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return 0;
  return status.st_mtime;
}

// Enough for a steady estimate: on random bytes the corrected figure stays within 0.01 bit of 8.
constexpr std::size_t kSampleBytes = 8 * 1024;

// Whether deflate would gain next to nothing on a file whose first 8 KiB are `bytes`: they carry
// close to 8 bits of information per byte (order-0 entropy, with the Miller-Madow correction for
// short samples), as ciphertext and densely coded media do. Such entries are stored: deflating them
// costs most of an archive's time and saves well under one percent. (A JPEG of a mostly flat
// drawing is not such a file: its flat blocks repeat, and deflate takes a third off.) Fewer than
// 256 bytes are never judged so.
bool looksIncompressible(std::string_view bytes) {
  constexpr double kStoredAbove = 7.9;  // bits per byte
  const std::size_t sample = std::min(bytes.size(), kSampleBytes);
  if (sample < 256) return false;
  std::array<std::size_t, 256> counts{};
  for (std::size_t i = 0; i < sample; ++i) ++counts[static_cast<unsigned char>(bytes[i])];
  double entropy = 0;
  int seen = 0;
  for (std::size_t count : counts) {
    if (count == 0) continue;
    ++seen;
    const double p = static_cast<double>(count) / static_cast<double>(sample);
    entropy -= p * std::log2(p);
  }
  entropy += (seen - 1) / (2.0 * static_cast<double>(sample) * std::log(2.0));
  return entropy > kStoredAbove;
}

std::string_view asText(const Data& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Stores the entry at `index` when its bytes (or their start, `sample`) look incompressible.
std::optional<std::string> chooseCompression(zip_t* archive, zip_int64_t index, std::string_view sample) {
  if (looksIncompressible(sample) &&
      zip_set_file_compression(archive, static_cast<zip_uint64_t>(index), ZIP_CM_STORE, 0) != 0) {
    return archiveErrorText(archive);
  }
  return std::nullopt;
}

// Adds `directory` (already added under `prefix`) and everything below it, in name order.
std::optional<std::string> addContents(zip_t* archive, const std::filesystem::path& directory,
                                       const std::string& prefix) {
  std::error_code error;
  std::vector<std::filesystem::directory_entry> children;
  for (std::filesystem::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
    children.push_back(*it);
  }
  if (error) return "cannot list " + directory.string() + ": " + error.message();
  std::sort(children.begin(), children.end(),
            [](const auto& a, const auto& b) { return a.path().filename() < b.path().filename(); });

  for (const auto& child : children) {
    const std::string name = prefix + child.path().filename().string();
    if (child.is_directory(error)) {
      const zip_int64_t index = zip_dir_add(archive, (name + "/").c_str(), ZIP_FL_ENC_UTF_8);
      if (index < 0) return archiveErrorText(archive);
      zip_file_set_mtime(archive, static_cast<zip_uint64_t>(index), modificationTime(child.path()), 0);
      if (auto failure = addContents(archive, child.path(), name + "/")) return failure;
    } else if (child.is_regular_file(error)) {
      Data sample;
      if (auto failure = readStart(child.path(), kSampleBytes, sample)) return failure;
      // libzip reads the file itself when the archive is written, so no file is held in memory.
      zip_source_t* source = zip_source_file(archive, child.path().c_str(), 0, -1);
      if (source == nullptr) return archiveErrorText(archive);
      const zip_int64_t index = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
      if (index < 0) {
        zip_source_free(source);
        return archiveErrorText(archive);
      }
      zip_file_set_mtime(archive, static_cast<zip_uint64_t>(index), modificationTime(child.path()), 0);
      if (auto failure = chooseCompression(archive, index, asText(sample))) return failure;
    }
  }
  return std::nullopt;
}

// Adds each folder on the path of `name` that `added` does not hold yet, outermost first.
std::optional<std::string> addFolders(zip_t* archive, const std::string& name, std::set<std::string>& added) {
  for (auto slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
    std::string folder = name.substr(0, slash + 1);
    if (!added.insert(folder).second) continue;
    if (zip_dir_add(archive, folder.c_str(), ZIP_FL_ENC_UTF_8) < 0) return archiveErrorText(archive);
  }
  return std::nullopt;
}

// The bytes of the archive that `source` holds.
std::optional<Data> sourceBytes(zip_source_t* source, std::string* error) {
  if (zip_source_open(source) != 0) {
    if (error) *error = errorText(zip_source_error(source));
    return std::nullopt;
  }
  Data bytes;
  zip_stat_t stat;
  zip_stat_init(&stat);
  if (zip_source_stat(source, &stat) == 0 && (stat.valid & ZIP_STAT_SIZE)) bytes.reserve(stat.size);
  std::uint8_t buffer[16 * 1024];
  zip_int64_t read = 0;
  while ((read = zip_source_read(source, buffer, sizeof buffer)) > 0) bytes.insert(bytes.end(), buffer, buffer + read);
  if (read < 0 && error) *error = errorText(zip_source_error(source));
  zip_source_close(source);
  if (read < 0) return std::nullopt;
  return bytes;
}

// Whether the sizes `archive` declares fit `limits`; `error` says which does not.
bool withinLimits(zip_t* archive, const ZipLimits& limits, std::string* error) {
  const zip_int64_t count = zip_get_num_entries(archive, 0);
  if (count < 0 || static_cast<std::uint64_t>(count) > limits.maxEntries) {
    if (error) *error = "the archive holds " + std::to_string(count) + " entries, more than " + std::to_string(limits.maxEntries);
    return false;
  }
  std::uint64_t total = 0;
  for (zip_int64_t i = 0; i < count; ++i) {
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat) != 0) continue;  // readEntries reports it
    if (!(stat.valid & ZIP_STAT_SIZE)) continue;
    const char* name = stat.name ? stat.name : "";
    if (stat.size > limits.maxEntrySize) {
      if (error) *error = std::string("entry \"") + name + "\" declares " + std::to_string(stat.size) + " bytes, more than " + std::to_string(limits.maxEntrySize);
      return false;
    }
    total += stat.size;
    if (total > limits.maxTotalSize) {
      if (error) *error = "the entries declare more than " + std::to_string(limits.maxTotalSize) + " bytes in all";
      return false;
    }
  }
  return true;
}

std::optional<std::vector<ZipEntry>> readEntries(zip_t* archive, std::string* error, const ZipLimits& limits) {
  if (!withinLimits(archive, limits, error)) return std::nullopt;
  std::vector<ZipEntry> entries;
  const zip_int64_t count = zip_get_num_entries(archive, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    const auto index = static_cast<zip_uint64_t>(i);
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(archive, index, 0, &stat) != 0) {
      if (error) *error = archiveErrorText(archive);
      return std::nullopt;
    }
    ZipEntry entry;
    entry.name = stat.name ? stat.name : "";
    if (!entry.isDirectory() && (stat.valid & ZIP_STAT_SIZE) && stat.size > 0) {
      zip_file_t* file = zip_fopen_index(archive, index, 0);
      if (file == nullptr) {
        if (error) *error = archiveErrorText(archive);
        return std::nullopt;
      }
      entry.bytes.resize(stat.size);
      const zip_int64_t read = zip_fread(file, entry.bytes.data(), stat.size);
      const bool complete = read == static_cast<zip_int64_t>(stat.size);
      if (!complete && error) *error = errorText(zip_file_get_error(file));
      zip_fclose(file);
      if (!complete) return std::nullopt;
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

}  // namespace

std::optional<ZipError> zipFolder(const std::filesystem::path& folder, const std::filesystem::path& archive) {
  std::error_code fileError;
  if (!std::filesystem::is_directory(folder, fileError)) {
    return ZipError{"not a directory: " + folder.string()};
  }
  std::filesystem::path root = folder;
  if (!root.has_filename()) root = root.parent_path();  // "dir/" names the same folder as "dir"

  std::filesystem::remove(archive, fileError);
  int openError = 0;
  zip_t* zip = zip_open(archive.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &openError);
  if (zip == nullptr) return ZipError{"cannot create " + archive.string() + ": " + openErrorText(openError)};

  const std::string prefix = root.filename().string() + "/";
  std::optional<std::string> failure;
  const zip_int64_t rootIndex = zip_dir_add(zip, prefix.c_str(), ZIP_FL_ENC_UTF_8);
  if (rootIndex < 0) {
    failure = archiveErrorText(zip);
  } else {
    zip_file_set_mtime(zip, static_cast<zip_uint64_t>(rootIndex), modificationTime(root), 0);
    failure = addContents(zip, root, prefix);
  }
  if (!failure && zip_close(zip) != 0) {
    failure = archiveErrorText(zip);
  } else if (!failure) {
    return std::nullopt;
  }
  zip_discard(zip);
  std::filesystem::remove(archive, fileError);
  return ZipError{*failure};
}

std::optional<Data> zipFiles(std::vector<ZipSource> files, std::string* error) {
  zip_error_t zipError;
  zip_error_init(&zipError);
  zip_source_t* memory = zip_source_buffer_create(nullptr, 0, 0, &zipError);
  zip_t* zip = memory ? zip_open_from_source(memory, ZIP_TRUNCATE, &zipError) : nullptr;
  if (zip == nullptr) {
    if (error) *error = errorText(&zipError);
    if (memory) zip_source_free(memory);
    zip_error_fini(&zipError);
    return std::nullopt;
  }
  zip_error_fini(&zipError);
  zip_source_keep(memory);  // the archive is read from it after zip_close

  std::optional<std::string> failure;
  std::set<std::string> folders;
  for (const auto& file : files) {
    if ((failure = addFolders(zip, file.name, folders))) break;
    zip_source_t* source = zip_source_buffer(zip, file.bytes.data(), file.bytes.size(), 0);
    if (source == nullptr) {
      failure = archiveErrorText(zip);
      break;
    }
    const zip_int64_t index = zip_file_add(zip, file.name.c_str(), source, ZIP_FL_ENC_UTF_8 | ZIP_FL_OVERWRITE);
    if (index < 0) {
      zip_source_free(source);
      failure = archiveErrorText(zip);
      break;
    }
    if ((failure = chooseCompression(zip, index, file.bytes))) break;
  }
  if (!failure && zip_close(zip) != 0) failure = archiveErrorText(zip);
  if (failure) {
    zip_discard(zip);
    zip_source_free(memory);
    if (error) *error = *failure;
    return std::nullopt;
  }
  // The files are in the archive now: released before it is copied out.
  files.clear();
  auto bytes = sourceBytes(memory, error);
  zip_source_free(memory);
  return bytes;
}

std::optional<std::vector<ZipEntry>> readZip(const Data& archive, std::string* error, const ZipLimits& limits) {
  zip_error_t zipError;
  zip_error_init(&zipError);
  zip_source_t* source = zip_source_buffer_create(archive.data(), archive.size(), 0, &zipError);
  if (source == nullptr) {
    if (error) *error = errorText(&zipError);
    zip_error_fini(&zipError);
    return std::nullopt;
  }
  zip_t* zip = zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &zipError);
  if (zip == nullptr) {
    if (error) *error = errorText(&zipError);
    zip_source_free(source);
    zip_error_fini(&zipError);
    return std::nullopt;
  }
  zip_error_fini(&zipError);
  auto entries = readEntries(zip, error, limits);
  zip_discard(zip);
  return entries;
}

std::optional<std::vector<ZipEntry>> readZipFile(const std::filesystem::path& archive, std::string* error,
                                                 const ZipLimits& limits) {
  int openError = 0;
  zip_t* zip = zip_open(archive.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &openError);
  if (zip == nullptr) {
    if (error) *error = openErrorText(openError);
    return std::nullopt;
  }
  auto entries = readEntries(zip, error, limits);
  zip_discard(zip);
  return entries;
}

}  // namespace obx::platform
