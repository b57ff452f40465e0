// OBXQt: records a Qt 6 Widgets application. After the QApplication exists and OBX::initialize has
// run, one call on the GUI thread attaches the SDK to the application: the SDK's main queue then runs
// on Qt's event loop, and the application's windows, touches, scrolls and forms are seen through a
// mirror of its widgets kept up to date from Qt's own events. Nothing else in the application changes.
//
//   QApplication app(argc, argv);
//   obx::OBX::initialize(configuration);
//   obx::OBXQt::attach();
//
// Widgets may carry these dynamic properties (QObject::setProperty):
//   "obxScreenName"    (string) the name of the screen a window, dialog or page stands for; without it,
//                      the objectName, else the class name
//   "obxMask"          (bool or "mask" / "unmask") hides a widget and its content from replay, or shows
//                      it where the automatic rules would hide it; a password field is always hidden
//   "obxFormSubmit"    (bool) a button whose click submits the screen's form
//   "obxDisableRecordingOnThisScreen" (bool) on a window, dialog or page: no images of that screen
//
// Every call is safe at any time and never throws; a refused call says why in the log.
//
// Network calls are recorded by obx::qt::NetworkAccessManager (obx/qt_network_access_manager.h), made
// where the application made its QNetworkAccessManager.
#pragma once

namespace obx {

namespace qt_property {
inline constexpr char kScreenName[] = "obxScreenName";
inline constexpr char kMask[] = "obxMask";
inline constexpr char kFormSubmit[] = "obxFormSubmit";
inline constexpr char kDisableRecording[] = "obxDisableRecordingOnThisScreen";
}  // namespace qt_property

class OBXQt {
 public:
  // Attaches the SDK to the running QApplication. Call on the GUI thread after OBX::initialize.
  // Returns whether the SDK is attached when it returns (true also for a second call, which changes
  // nothing). Refused, with a log line, without a QApplication, before initialize, off the GUI
  // thread, or when the SDK's main queue is already served by another thread.
  static bool attach() noexcept;
  // Ends the screen being recorded and removes everything attach set up: the event filter, the
  // mirror and the main-queue driver. GUI thread only; does nothing when not attached.
  static void detach() noexcept;
  static bool isAttached() noexcept;
};

}  // namespace obx
