// obx-collector's upload decoder on an arbitrary request body, the way a hostile client sends it:
// the ZIP, the key search and the event checks must refuse it or take it within bounds. The
// deciphered-body check runs on the input as plain text as well.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "collector/upload_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace obx::collector;
  static const UploadDecoder decoder({"acme"});
  static const UploadQuery query = [] {
    UploadQuery q;
    q.property = "prop-1";
    q.cScreenID = "5d41402abc4b2a76b9719d911017c592";
    q.sessionID = "0F8FAD5BD9CB469FA16570867728950E42";
    q.leadID = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    q.asset = "S1_1.zip";
    return q;
  }();
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  std::string error;
  (void)decoder.decode(query, body, &error);
  std::vector<obx::AnyEvent> events;
  (void)UploadDecoder::validateBody(body, events, &error);
  return 0;
}
