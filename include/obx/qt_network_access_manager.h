// NetworkAccessManager: a QNetworkAccessManager that records each HTTP and HTTPS request it makes as
// a "network" event of the SDK, under the rules the SDK applies to its URL session's requests: the
// method, the URL (its parameters and credentials kept or left out by the same rules), the status,
// the sizes sent and received, and the time from the request's making to its end. Requests to the
// SDK's own collection endpoint, and those of suppressed screens, are left out.
//
// It takes the place of the application's own manager: make it where the application made a
// QNetworkAccessManager, or derive the application's subclass from it and call this createRequest()
// from its own. Replies, signals and data reach the application unchanged; the measuring reads only
// what Qt reports about the transfer. A reply deleted before it finished (the manager destroyed with
// requests in flight) is recorded once, as cancelled.
//
// Threads: used like any QNetworkAccessManager, from the thread it lives in; what it measures is
// handed to the SDK's own queues.
#pragma once

#include <QNetworkAccessManager>

namespace obx::qt {

class NetworkAccessManager : public QNetworkAccessManager {
  Q_OBJECT

 public:
  explicit NetworkAccessManager(QObject* parent = nullptr);

 protected:
  QNetworkReply* createRequest(Operation operation, const QNetworkRequest& request,
                               QIODevice* outgoingData = nullptr) override;
};

}  // namespace obx::qt
