// URL: an absolute URL as the session takes it. Built only from text that parses as an absolute URL
// with a scheme (http, https, file, ...); its parts are read back as the parser split them.
#pragma once

#include <optional>
#include <string>

namespace obx::platform {

class URL {
 public:
  // Absent when `text` is no absolute URL.
  static std::optional<URL> fromString(const std::string& text);
  // A file URL for an absolute local path.
  static URL fileURL(const std::string& path);

  // The text as given (normalised by the parser).
  const std::string& absoluteString() const { return absoluteString_; }
  const std::string& scheme() const { return scheme_; }
  const std::string& host() const { return host_; }
  // The port written in the URL, or absent.
  std::optional<int> port() const { return port_; }
  // The path, "/" when the URL has none; for file URLs the local path.
  const std::string& path() const { return path_; }
  // The query without its "?", or absent.
  const std::optional<std::string>& query() const { return query_; }
  bool isFileURL() const { return scheme_ == "file"; }

  bool operator==(const URL& other) const { return absoluteString_ == other.absoluteString_; }

 private:
  URL() = default;

  std::string absoluteString_;
  std::string scheme_;
  std::string host_;
  std::optional<int> port_;
  std::string path_;
  std::optional<std::string> query_;
};

}  // namespace obx::platform
