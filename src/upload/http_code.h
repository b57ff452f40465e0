// HTTPCode: the status codes the upload client knows, with their numbers as raw values. A number
// that is not one of them has no HTTPCode.
#pragma once

#include <optional>

namespace obx {

enum class HTTPCode : int {
  errorGeneric = -1,
  errorServerConnection = 0,
  informationalContinue = 100,
  informationalSwitchingProtocols = 101,
  informationalProcessing = 102,
  informationalEarlyHints = 103,
  successOk = 200,
  successCreated = 201,
  successAccepted = 202,
  successNonAuthoritativeInformation = 203,
  successNoContent = 204,
  successResetContent = 205,
  successPartialContent = 206,
  successMultiStatus = 207,
  successAlreadyReported = 208,
  successIMUsed = 226,
  redirectionMultipleChoices = 300,
  redirectionMovedPermanently = 301,
  redirectionFound = 302,
  redirectionSeeOthers = 303,
  redirectionNotModified = 304,
  redirectionUseProxy = 305,
  redirectionSwitchProxy = 306,
  redirectionTemporaryRedirect = 307,
  redirectionPermanentRedirect = 308,
  clientErrorBadRequest = 400,
  clientErrorUnauthorized = 401,
  clientErrorPaymentRequired = 402,
  clientErrorForbidden = 403,
  clientErrorNotFound = 404,
  clientErrorMethodNotAllowed = 405,
  clientErrorNotAcceptable = 406,
  clientErrorProxyAuthenticationRequire = 407,
  clientErrorRequestTimeout = 408,
  clientErrorConflict = 409,
  clientErrorGone = 410,
  clientErrorLengthRequired = 411,
  clientErrorPreconditionFailed = 412,
  clientErrorPayloadTooLarge = 413,
  clientErrorURITooLong = 414,
  clientErrorUnsupportedMediaType = 415,
  clientErrorRangeNotSatisfiable = 416,
  clientErrorExpectationFailed = 417,
  clientErrorMisdirectedRequest = 421,
  clientErrorUnprocessableEntity = 422,
  clientErrorLocked = 423,
  clientErrorFailedDependency = 424,
  clientErrorTooEarly = 425,
  clientErrorUpgradeRequired = 426,
  clientErrorPreconditionRequired = 428,
  clientErrorTooManyRequests = 429,
  clientErrorRequestHeaderFieldsTooLarge = 431,
  clientErrorUnavailableForLegalReasons = 451,
  serverErrorInternalServerError = 500,
  serverErrorNotImplemented = 501,
  serverErrorBadGateway = 502,
  serverErrorServiceUnavailable = 503,
  serverErrorGatewayTimeout = 504,
  serverErrorHTTPVersionNotSupported = 505,
  serverErrorVariantAlsoNegotiates = 506,
  serverErrorInsufficientStorage = 507,
  serverErrorLoopDetected = 508,
  serverErrorNotExtended = 510,
  serverErrorNetworkAuthenticationRequired = 511,
};

// The case whose raw value is `raw`, or absent when there is none.
std::optional<HTTPCode> httpCodeFromRaw(int raw);
inline int rawValue(HTTPCode code) { return static_cast<int>(code); }

}  // namespace obx
