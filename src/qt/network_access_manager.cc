#include "obx/qt_network_access_manager.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/core.h"
#include "network/url_session_data_intercepted.h"

namespace obx::qt {
namespace {

using platform::URLError;

// The SDK's error for a transfer that failed, or nothing when Qt's error only restates the HTTP
// status that came (a 404, a 500): that is recorded as its code, as the URL session reports it.
// Qt's errorString() is never used: it quotes the whole URL, credentials and parameters included.
std::optional<URLError> transferError(QNetworkReply::NetworkError error, bool hasStatus) {
  const bool transportError =
      error >= QNetworkReply::ConnectionRefusedError && error <= QNetworkReply::UnknownNetworkError;
  if (error == QNetworkReply::NoError || (hasStatus && !transportError)) return std::nullopt;
  switch (error) {
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
    case QNetworkReply::UnknownProxyError:
      return URLError::make(URLError::kCannotConnectToHost);
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ProxyNotFoundError:
      return URLError::make(URLError::kCannotFindHost);
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
      return URLError::make(URLError::kTimedOut);
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
      return URLError::make(URLError::kNetworkConnectionLost);
    case QNetworkReply::OperationCanceledError:
      return URLError::make(URLError::kCancelled);
    case QNetworkReply::SslHandshakeFailedError:
      return URLError::make(URLError::kSecureConnectionFailed);
    case QNetworkReply::TooManyRedirectsError:
      return URLError::make(URLError::kHTTPTooManyRedirects);
    case QNetworkReply::ProtocolUnknownError:
      return URLError::make(URLError::kUnsupportedURL);
    case QNetworkReply::InsecureRedirectError:
    case QNetworkReply::ProtocolFailure:
      return URLError::make(URLError::kBadServerResponse);
    default:
      return URLError::make(URLError::kUnknown);
  }
}

std::optional<std::string> methodOf(QNetworkAccessManager::Operation operation, const QNetworkRequest& request) {
  switch (operation) {
    case QNetworkAccessManager::HeadOperation: return "HEAD";
    case QNetworkAccessManager::GetOperation: return "GET";
    case QNetworkAccessManager::PutOperation: return "PUT";
    case QNetworkAccessManager::PostOperation: return "POST";
    case QNetworkAccessManager::DeleteOperation: return "DELETE";
    case QNetworkAccessManager::CustomOperation: {
      const QByteArray verb = request.attribute(QNetworkRequest::CustomVerbAttribute).toByteArray();
      if (verb.isEmpty()) return std::nullopt;
      return verb.toStdString();
    }
    default: return std::nullopt;
  }
}

// The size of the body as the request is made; absent without a body, and for a stream of unknown
// length, as the URL session's uploads from a stream are not measured either.
std::optional<std::int64_t> bodySize(const QNetworkRequest& request, const QIODevice* body) {
  if (!body) return std::nullopt;
  if (!body->isSequential()) return static_cast<std::int64_t>(body->size() - body->pos());
  bool known = false;
  const qint64 length = request.header(QNetworkRequest::ContentLengthHeader).toLongLong(&known);
  if (known && length >= 0) return static_cast<std::int64_t>(length);
  return std::nullopt;
}

// What is known of one request, kept up to date from its reply's signals and handed to the SDK
// once: when the reply finishes, or when it is destroyed before (then as cancelled, unless Qt
// already told of an error). A child of the reply, so it never outlives it and is never reached
// through a reply that is gone; it captures nothing of the manager.
class RequestMeasure final : public QObject {
 public:
  RequestMeasure(QNetworkReply* reply, URLSessionDataIntercepted value, std::weak_ptr<Core> core)
      : QObject(reply), value_(std::move(value)), core_(std::move(core)) {
    connect(reply, &QNetworkReply::metaDataChanged, this, [this, reply] { readStatus(reply); });
    connect(reply, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) {
      if (received > 0) value_.bytesReceived = static_cast<std::int64_t>(received);
    });
    connect(reply, &QNetworkReply::errorOccurred, this, [this, reply](QNetworkReply::NetworkError error) {
      readStatus(reply);
      value_.error = transferError(error, value_.code.has_value());
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
      readStatus(reply);
      value_.error = transferError(reply->error(), value_.code.has_value());
      record();
    });
  }

  ~RequestMeasure() override {
    if (recorded_) return;
    if (!value_.error) value_.error = URLError::make(URLError::kCancelled);
    record();
  }

  RequestMeasure(const RequestMeasure&) = delete;
  RequestMeasure& operator=(const RequestMeasure&) = delete;

 private:
  void readStatus(const QNetworkReply* reply) {
    bool valid = false;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(&valid);
    if (valid) value_.code = status;
  }

  void record() noexcept {
    if (recorded_) return;
    recorded_ = true;
    try {
      if (auto core = core_.lock()) core->recordNetworkRequest(value_);
    } catch (...) {
      // The application's reply never pays for the measuring.
    }
  }

  URLSessionDataIntercepted value_;
  const std::weak_ptr<Core> core_;
  bool recorded_ = false;
};

}  // namespace

NetworkAccessManager::NetworkAccessManager(QObject* parent) : QNetworkAccessManager(parent) {}

QNetworkReply* NetworkAccessManager::createRequest(Operation operation, const QNetworkRequest& request,
                                                   QIODevice* outgoingData) {
  // Measured before the base class starts reading the body.
  const std::optional<std::int64_t> sent = bodySize(request, outgoingData);
  QNetworkReply* reply = QNetworkAccessManager::createRequest(operation, request, outgoingData);
  // Files and resources read through the manager are no network calls.
  const QString scheme = request.url().scheme();
  if (!reply || (scheme != QLatin1String("http") && scheme != QLatin1String("https"))) return reply;
  try {
    std::shared_ptr<Core> core = Core::shared();
    URLSessionDataIntercepted value;
    value.url = platform::URL::fromString(request.url().toEncoded().toStdString());
    value.method = methodOf(operation, request);
    value.bytesSent = sent;
    // The time runs from the moment the reply exists, as for the URL session's tasks.
    value.date = core->scheduler()->clock().now();
    new RequestMeasure(reply, std::move(value), core);
  } catch (...) {
    // Unmeasured, the request goes on as the application made it.
  }
  return reply;
}

}  // namespace obx::qt
