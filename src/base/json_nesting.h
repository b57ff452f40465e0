// A bound on the nesting of JSON text, checked before the text is parsed. Every document the SDK and
// its tools read (live configuration, stored events, uploads) nests a handful of levels; a hostile
// one of hundreds of thousands of "[" would take the parser and everything that walks the result
// down as deep, until the stack runs out.
#pragma once

#include <cstddef>
#include <string_view>

namespace obx {

inline constexpr std::size_t kMaxJSONNesting = 128;

// Whether no array or object in `text` lies more than `maxDepth` levels deep. Brackets inside
// strings don't count; the text need not be valid JSON (the parser judges that afterwards).
bool jsonNestingWithin(std::string_view text, std::size_t maxDepth = kMaxJSONNesting);

}  // namespace obx
