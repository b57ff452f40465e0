#include "store/files/block_reader.h"

#include "store/files/file_error.h"

namespace obx {

std::vector<BlockInFile> BlockReader::readAllBlocks() {
  std::vector<BlockInFile> blocks;
  for (;;) {
    try {
      blocks.push_back(readBlock());
    } catch (const EndOfStreamError&) {
      break;
    }
  }
  return blocks;
}

std::string BlockReader::readExactly(std::size_t count) {
  std::string buffer(count, '\0');
  if (count == 0) return buffer;
  long read = stream_.read(buffer.data(), count);
  if (read == 0) throw EndOfStreamError{};
  if (read < 0) {
    const auto& error = stream_.streamError();
    throw FileError{error ? *error : "Error count"};
  }
  if (static_cast<std::size_t>(read) < count) throw FileError{"Invalid Sequence"};
  return buffer;
}

BlockInFile BlockReader::readBlock() {
  std::string prefix = readExactly(kBlockPrefixLength);
  const std::uint32_t length = decodeBlockLength(prefix);
  if (length > maxBlockLength_) throw FileError{"Data length exceeds limit"};
  std::string ciphertext;
  try {
    ciphertext = readExactly(length);
  } catch (const EndOfStreamError&) {
    // A prefix with nothing after it is a record cut short, not the end between records.
    throw FileError{"Invalid Sequence"};
  }
  BlockInFile block;
  block.maxBlockLength = maxBlockLength_;
  block.data.reserve(kBlockPrefixLength + ciphertext.size());
  block.data = std::move(prefix);
  block.data += ciphertext;
  return block;
}

}  // namespace obx
