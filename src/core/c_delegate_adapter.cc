#include "core/c_delegate_adapter.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "base/logger.h"

namespace obx {
namespace {

using OrderedJson = nlohmann::ordered_json;

template <typename T>
void put(OrderedJson& object, const char* key, const std::optional<T>& value) {
  if (value) object[key] = *value;
}

}  // namespace

std::string liveConfigurationJSON(const LiveConfigurationMultiplatform& c) {
  OrderedJson object = OrderedJson::object();
  put(object, "ipHandling", c.ipHandling);
  put(object, "useLiveConfiguration", c.useLiveConfiguration);
  put(object, "experienceDataSampleMethod", c.experienceDataSampleMethod);
  put(object, "sessionCookieFlags", c.sessionCookieFlags);
  put(object, "leadCookieFlags", c.leadCookieFlags);
  put(object, "analysisDataSampleMethod", c.analysisDataSampleMethod);
  put(object, "analysisSessFlags", c.analysisSessFlags);
  put(object, "analysisLeadFlags", c.analysisLeadFlags);
  put(object, "replayDataSampleMethod", c.replayDataSampleMethod);
  put(object, "replaySessFlags", c.replaySessFlags);
  put(object, "replayLeadFlags", c.replayLeadFlags);
  put(object, "disableScreenTracking", c.disableScreenTracking);
  put(object, "screensMasking", c.screensMasking);
  put(object, "forceHiFi", c.forceHiFi);
  put(object, "forceLoFi", c.forceLoFi);
  put(object, "imageQualityType", c.imageQualityType);
  put(object, "videoQualityType", c.videoQualityType);
  put(object, "maxScreenDuration", c.maxScreenDuration);
  put(object, "maxScreenshots", c.maxScreenshots);
  put(object, "recordVideoInForeground", c.recordVideoInForeground);
  put(object, "sessionTimeout", c.sessionTimeout);
  put(object, "maskingColor", c.maskingColor);
  put(object, "showLocalLogs", c.showLocalLogs);
  put(object, "allowLogs", c.allowLogs);
  put(object, "sdkVersionsBlocked", c.sdkVersionsBlocked);
  put(object, "appVersionsBlocked", c.appVersionsBlocked);
  put(object, "keepVideoData", c.keepVideoData);
  put(object, "maxMemoryUsage", c.maxMemoryUsage);
  put(object, "maxCPUUsage", c.maxCPUUsage);
  put(object, "enableAnalytics", c.enableAnalytics);
  put(object, "blockedFlutterSDKVersions", c.blockedFlutterSDKVersions);
  put(object, "blockedFlutterAppVersions", c.blockedFlutterAppVersions);
  put(object, "blockedRNSDKVersions", c.blockedRNSDKVersions);
  put(object, "blockedRNAppVersions", c.blockedRNAppVersions);
  put(object, "forceWireframe", c.forceWireframe);
  put(object, "enableRecording", c.enableRecording);
  put(object, "overrideCollectionURL", c.overrideCollectionURL);
  put(object, "batchTime", c.batchTime);
  put(object, "maxTimeFileSaved", c.maxTimeFileSaved);
  // Texts from the server may hold invalid UTF-8: replace rather than throw.
  return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

const std::shared_ptr<CDelegateAdapter>& CDelegateAdapter::shared() {
  // Never destroyed: the SDK's queues may still call it while the process exits.
  static auto* adapter = new std::shared_ptr<CDelegateAdapter>(std::make_shared<CDelegateAdapter>());
  return *adapter;
}

CDelegateAdapter::CDelegateAdapter(std::shared_ptr<platform::Scheduler> scheduler) : scheduler_(std::move(scheduler)) {}

void CDelegateAdapter::setTable(const obx_delegate* table) {
  table_.set(table ? std::optional<obx_delegate>(*table) : std::nullopt);
}

bool CDelegateAdapter::hasTable() const { return table_.get().has_value(); }

std::shared_ptr<platform::DispatchQueue> CDelegateAdapter::queue() {
  auto scheduler = scheduler_ ? scheduler_ : platform::defaultScheduler();
  std::lock_guard lock(queueMutex_);
  // Only a test replaces the default scheduler; the queue follows it.
  if (!queue_ || queue_->scheduler() != scheduler) {
    queue_ = platform::DispatchQueue::makeSerial(scheduler, "obx.ombrix.c-delegate");
  }
  return queue_;
}

void CDelegateAdapter::post(std::function<void(const obx_delegate&)> call) {
  if (!hasTable()) return;
  // The adapter lives as long as the process or, in a test, as long as its owner keeps it.
  std::weak_ptr<CDelegateAdapter> weak = weak_from_this();
  queue()->async([weak, call = std::move(call)] {
    auto self = weak.lock();
    if (!self) return;
    // The table of the moment of the call, so that a table removed meanwhile is not called.
    if (auto table = self->table_.get()) call(*table);
  });
}

void CDelegateAdapter::liveConfig(const LiveConfigurationMultiplatform& configuration) {
  std::string text;
  try {
    text = liveConfigurationJSON(configuration);
  } catch (const std::exception& error) {
    Logger::log(std::string("Live configuration not passed to the delegate: ") + error.what(), LogLevel::developer);
    return;
  }
  post([text = std::move(text)](const obx_delegate& table) {
    if (table.live_config) table.live_config(table.user_data, text.c_str());
  });
}

void CDelegateAdapter::performance(const PerformanceMultiplatform& performance) {
  post([performance](const obx_delegate& table) {
    if (!table.performance) return;
    std::vector<obx_device_stressed_type> stressed;
    stressed.reserve(performance.isStressed.size());
    for (DeviceStressedTypeFlutter type : performance.isStressed) {
      stressed.push_back(static_cast<obx_device_stressed_type>(static_cast<int>(type)));
    }
    obx_performance_multiplatform record{stressed.empty() ? nullptr : stressed.data(),
                                         static_cast<int32_t>(stressed.size()),
                                         performance.cpu,
                                         performance.memory,
                                         performance.battery,
                                         static_cast<int32_t>(performance.threads),
                                         performance.maxMemory};
    table.performance(table.user_data, &record);
  });
}

void CDelegateAdapter::sampling(const SamplingMultiplatform& sampling) {
  post([sampling](const obx_delegate& table) {
    if (!table.sampling) return;
    obx_sampling_multiplatform record{sampling.stopTrackingDueToSampling, sampling.stopRecordingDueToSampling};
    table.sampling(table.user_data, &record);
  });
}

}  // namespace obx
