// EventsRequest: what the upload of one screen is made of, and the requests built from it: one
// POST of the ZIP to the collection host's asset path, with the screen's identifiers in the query.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "config/sdk_configuration.h"
#include "platform/net/url_request.h"

namespace obx {

struct EventsRequest {
  std::optional<int> ipHandling;
  std::string property;
  std::string cScreenID;
  std::string sessionID;
  std::string leadID;
  int screenPassed = 1;
  std::string fileName;
  platform::Data data;
  std::optional<bool> isInSampling;
};

// The requests of one screen: `uploadURLString` filled with the collection host of `common`'s
// endpoint and the request's fields, "&dnt=1" when `ipHandling` is 1, "&jspsf=1|0" when
// `isInSampling` is present. Method POST, body `data`, "Content-Type" "application/octet-stream",
// 60 seconds timeout. Empty when the URL doesn't parse.
std::vector<platform::URLRequest> makeEventsRequests(const EventsRequest& request, const Common& common);

}  // namespace obx
