#include "upload/events_request.h"

#include "base/string_format.h"

namespace obx {

std::vector<platform::URLRequest> makeEventsRequests(const EventsRequest& request, const Common& common) {
  std::string text = formatWithArguments(
      common.uploadURLString, {common.endpoint.collectionHost(), request.property, request.cScreenID, request.sessionID,
                               request.leadID, std::to_string(request.screenPassed), request.fileName});
  if (request.ipHandling == 1) text += "&dnt=1";
  if (request.isInSampling) text += std::string("&jspsf=") + (*request.isInSampling ? "1" : "0");

  auto url = platform::URL::fromString(text);
  if (!url) return {};
  platform::URLRequest built(*url);
  built.httpMethod = "POST";
  built.httpBody = request.data;
  built.setValue("application/octet-stream", "Content-Type");
  built.timeoutInterval = 60.0;
  return {std::move(built)};
}

}  // namespace obx
