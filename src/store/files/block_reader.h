// BlockReader: reads the records of one block file from an open input stream, for one read.
// Throws FileError ("Data length exceeds limit", "Invalid Sequence", the stream's text or
// "Error count"); the end of the file between records ends the loop normally.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/files/file_handle.h"
#include "store/files/block_in_file.h"

namespace obx {

class BlockReader {
 public:
  // Borrows `stream`, which must outlive the reader and be open.
  explicit BlockReader(platform::InputStream& stream, std::uint32_t maxBlockLength = kMaxBlockLength)
      : stream_(stream), maxBlockLength_(maxBlockLength) {}

  // Every record up to the end of the file, in order.
  std::vector<BlockInFile> readAllBlocks();
  // Exactly `count` bytes. Throws EndOfStreamError when the stream is at its end, FileError
  // "Invalid Sequence" when it ends sooner, or the stream's error.
  std::string readExactly(std::size_t count);
  // One record. Throws EndOfStreamError at the end of the file, before its prefix.
  BlockInFile readBlock();

 private:
  platform::InputStream& stream_;
  std::uint32_t maxBlockLength_;
};

}  // namespace obx
