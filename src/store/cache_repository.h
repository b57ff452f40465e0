// CacheRepository: a small key-value store on disk for what outlives the process and is not part
// of a screen: the last live configuration, the lead ID, placeholder images. Entries are block
// files named by their key in "obx.ombrix.cache/<folder>" of the application-support folder, one
// block each, written from the start of the file; a read takes the first block only. All access
// goes through the Storage's queue ("obx.ombrix.read-write"): saves are queued, reads wait for them.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "store/directory.h"
#include "store/events/json_coding.h"
#include "store/files/write_value.h"
#include "store/storage.h"

namespace obx {

class CacheRepository {
 public:
  // `folderName` is the folder of the entries, configurationFileName ("config") by default. Makes
  // nothing on the disk until the first save.
  explicit CacheRepository(std::shared_ptr<Storage> storage, std::string folderName = "config");

  // The entry's bytes, or nothing (never saved, or damaged: a damaged entry is deleted).
  std::optional<std::string> read(const std::string& key);
  // A JSON-encoded write.
  void saveConfiguration(const Json& value, const std::string& key);
  // The lead ID as UTF-8 text; an absent value writes nothing.
  void saveLeadID(const std::optional<std::string>& value, const std::string& key);
  // Raw bytes as they are.
  void saveImage(std::string bytes, const std::string& key);

  const Directory& directory() const { return directory_; }

 private:
  // Makes the folder; logs "Error creating directory: " and gives false on failure.
  bool makeDirectory();
  void write(WriteValue value, const std::string& key);

  std::shared_ptr<Storage> storage_;
  Directory directory_;
};

}  // namespace obx
