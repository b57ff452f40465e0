#include "upload/http_code.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace obx {
namespace {

// Every case of the status table, with its number as the table gives it.
const std::vector<std::pair<HTTPCode, int>> kTable = {
    {HTTPCode::errorGeneric, -1},
    {HTTPCode::errorServerConnection, 0},
    {HTTPCode::informationalContinue, 100},
    {HTTPCode::informationalSwitchingProtocols, 101},
    {HTTPCode::informationalProcessing, 102},
    {HTTPCode::informationalEarlyHints, 103},
    {HTTPCode::successOk, 200},
    {HTTPCode::successCreated, 201},
    {HTTPCode::successAccepted, 202},
    {HTTPCode::successNonAuthoritativeInformation, 203},
    {HTTPCode::successNoContent, 204},
    {HTTPCode::successResetContent, 205},
    {HTTPCode::successPartialContent, 206},
    {HTTPCode::successMultiStatus, 207},
    {HTTPCode::successAlreadyReported, 208},
    {HTTPCode::successIMUsed, 226},
    {HTTPCode::redirectionMultipleChoices, 300},
    {HTTPCode::redirectionMovedPermanently, 301},
    {HTTPCode::redirectionFound, 302},
    {HTTPCode::redirectionSeeOthers, 303},
    {HTTPCode::redirectionNotModified, 304},
    {HTTPCode::redirectionUseProxy, 305},
    {HTTPCode::redirectionSwitchProxy, 306},
    {HTTPCode::redirectionTemporaryRedirect, 307},
    {HTTPCode::redirectionPermanentRedirect, 308},
    {HTTPCode::clientErrorBadRequest, 400},
    {HTTPCode::clientErrorUnauthorized, 401},
    {HTTPCode::clientErrorPaymentRequired, 402},
    {HTTPCode::clientErrorForbidden, 403},
    {HTTPCode::clientErrorNotFound, 404},
    {HTTPCode::clientErrorMethodNotAllowed, 405},
    {HTTPCode::clientErrorNotAcceptable, 406},
    {HTTPCode::clientErrorProxyAuthenticationRequire, 407},
    {HTTPCode::clientErrorRequestTimeout, 408},
    {HTTPCode::clientErrorConflict, 409},
    {HTTPCode::clientErrorGone, 410},
    {HTTPCode::clientErrorLengthRequired, 411},
    {HTTPCode::clientErrorPreconditionFailed, 412},
    {HTTPCode::clientErrorPayloadTooLarge, 413},
    {HTTPCode::clientErrorURITooLong, 414},
    {HTTPCode::clientErrorUnsupportedMediaType, 415},
    {HTTPCode::clientErrorRangeNotSatisfiable, 416},
    {HTTPCode::clientErrorExpectationFailed, 417},
    {HTTPCode::clientErrorMisdirectedRequest, 421},
    {HTTPCode::clientErrorUnprocessableEntity, 422},
    {HTTPCode::clientErrorLocked, 423},
    {HTTPCode::clientErrorFailedDependency, 424},
    {HTTPCode::clientErrorTooEarly, 425},
    {HTTPCode::clientErrorUpgradeRequired, 426},
    {HTTPCode::clientErrorPreconditionRequired, 428},
    {HTTPCode::clientErrorTooManyRequests, 429},
    {HTTPCode::clientErrorRequestHeaderFieldsTooLarge, 431},
    {HTTPCode::clientErrorUnavailableForLegalReasons, 451},
    {HTTPCode::serverErrorInternalServerError, 500},
    {HTTPCode::serverErrorNotImplemented, 501},
    {HTTPCode::serverErrorBadGateway, 502},
    {HTTPCode::serverErrorServiceUnavailable, 503},
    {HTTPCode::serverErrorGatewayTimeout, 504},
    {HTTPCode::serverErrorHTTPVersionNotSupported, 505},
    {HTTPCode::serverErrorVariantAlsoNegotiates, 506},
    {HTTPCode::serverErrorInsufficientStorage, 507},
    {HTTPCode::serverErrorLoopDetected, 508},
    {HTTPCode::serverErrorNotExtended, 510},
    {HTTPCode::serverErrorNetworkAuthenticationRequired, 511},
};

// Each of the 64 numbers of the table builds its own case, and the case gives its number back.
TEST(HTTPCodeTest, EveryTableRowRoundTrips) {
  ASSERT_EQ(kTable.size(), 64u);
  for (const auto& [code, raw] : kTable) {
    SCOPED_TRACE(raw);
    auto built = httpCodeFromRaw(raw);
    ASSERT_TRUE(built.has_value());
    EXPECT_EQ(*built, code);
    EXPECT_EQ(rawValue(code), raw);
  }
}

// Numbers outside the table, including gaps between known codes, build no case; and across a wide
// range exactly the 64 numbers of the table build one.
TEST(HTTPCodeTest, OtherNumbersBuildNothing) {
  for (int raw : {-2,  1,   99,  104, 199, 209, 225, 227, 299, 309, 399, 418,
                  420, 427, 430, 432, 450, 452, 499, 509, 512, 599, 1000}) {
    EXPECT_FALSE(httpCodeFromRaw(raw).has_value()) << raw;
  }
  int known = 0;
  for (int raw = -100; raw <= 1000; ++raw) known += httpCodeFromRaw(raw).has_value() ? 1 : 0;
  EXPECT_EQ(known, 64);
}

}  // namespace
}  // namespace obx
