/* C API of the OBX SDK, for hosts that bind through a C ABI (FFI, JSI, P/Invoke).
 * Every function may be called from any thread and never fails loudly: bad input is logged and
 * ignored. Strings are UTF-8 and NUL-terminated; strings returned by the SDK are owned by the caller
 * and released with obx_string_free. The functions declared here are what libobx.so exports.
 *
 * Threads. The SDK has a main queue: the work it must do on the UI thread of the application, such
 * as the start of each screen. A host bound through this API has no loop of the SDK's, so by default
 * (OBX_MAIN_QUEUE_SDK_THREAD) initialization starts a thread of the SDK's own that serves it, and
 * the host need do nothing. A host that wants that work on its own UI thread, as a UI toolkit host
 * does, initializes with OBX_MAIN_QUEUE_HOST_DRAINS and calls obx_main_queue_drain() from its loop,
 * at least every frame; until it does, screen starts wait. No function here waits for the main
 * queue or for a callback, and no delegate callback is ever made on a host's thread: not inside any
 * call of this API (obx_main_queue_drain included), and never with the SDK waiting for it to return. */
#ifndef OBX_OBX_H
#define OBX_OBX_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

typedef enum {
  OBX_CONSENT_ANALYTICS_AND_RECORDING = 0,
  OBX_CONSENT_ANALYTICS = 1,
  OBX_CONSENT_NONE = 2
} obx_consent;

typedef enum {
  OBX_PLATFORM_NATIVE = 0,
  OBX_PLATFORM_FLUTTER = 1,
  OBX_PLATFORM_XAMARIN = 2,
  OBX_PLATFORM_REACT_NATIVE = 3
} obx_platform_type;

typedef enum {
  OBX_MASK_LABELS = 0,
  OBX_MASK_INPUTS = 1,
  OBX_MASK_IMAGES = 2,
  OBX_MASK_WEB_VIEWS = 3,
  OBX_MASK_ALL = 4
} obx_mask_automatic;

/* Who serves the SDK's main queue (see Threads above). */
typedef enum {
  OBX_MAIN_QUEUE_SDK_THREAD = 0,
  OBX_MAIN_QUEUE_HOST_DRAINS = 1
} obx_main_queue_mode;

typedef struct {
  const char* account;
  const char* property;
  obx_consent consent;
  bool crash_reporter_enabled;
  bool mobile_data_enable;
  bool manual_screen_tracking;
  bool enhanced_logs_enabled;
  bool network_analytics_enable;
  /* Optional custom endpoint; both NULL keeps the production endpoint. */
  const char* custom_base_url;
  const char* custom_relay_url;
  /* Decided by the first initialization; 0 (zeroed memory) is the SDK's own thread. */
  obx_main_queue_mode main_queue;
} obx_configuration;

typedef struct {
  obx_platform_type type;
  const char* version;  /* the framework's version, compared with the blocked lists */
  const char* language;
} obx_platform;

/* What a multiplatform host is told when this session's sampling decision changes. */
typedef struct {
  bool stop_tracking_due_to_sampling;
  bool stop_recording_due_to_sampling;
} obx_sampling_multiplatform;

typedef enum {
  OBX_DEVICE_STRESSED_BATTERY = 0,
  OBX_DEVICE_STRESSED_MEMORY = 1,
  OBX_DEVICE_STRESSED_CPU = 2
} obx_device_stressed_type;

/* One device measure. `is_stressed` holds `is_stressed_count` entries (NULL when 0). */
typedef struct {
  const obx_device_stressed_type* is_stressed;
  int32_t is_stressed_count;
  double cpu;
  double memory;
  double battery;
  int32_t threads;
  double max_memory;
} obx_performance_multiplatform;

/* The delegate of a multiplatform host: each callback may be NULL, and receives `user_data` first.
 * Calls arrive one at a time, in order, on a thread of the SDK's own, never on the host's main
 * thread nor inside a call of this API; a callback that blocks holds back only the callbacks after
 * it.
 * Every pointer handed to a callback is owned by the SDK and valid only until the callback returns.
 * `live_config` receives the live configuration as one JSON object whose keys are the field names
 * of the multiplatform record (ipHandling, useLiveConfiguration, experienceDataSampleMethod, ...,
 * batchTime, maxTimeFileSaved); enumerations are their raw integers and absent fields are left out. */
typedef struct {
  void* user_data;
  void (*live_config)(void* user_data, const char* live_configuration_json);
  void (*performance)(void* user_data, const obx_performance_multiplatform* performance);
  void (*sampling)(void* user_data, const obx_sampling_multiplatform* sampling);
} obx_delegate;

/* Initializes for a native host. */
void obx_initialize(const obx_configuration* configuration);
/* Initializes for a multiplatform host; `platform` may be NULL for a native one. */
void obx_initialize_multiplatform(const obx_configuration* configuration, const obx_platform* platform);
/* As obx_initialize_multiplatform. A `delegate` other than NULL is installed first, as by
 * obx_set_delegate; NULL keeps the table installed before, if any. Returns
 * the stored live configuration as the JSON object `live_config` receives (owned by the caller), or
 * NULL when the configuration was refused. */
char* obx_initialize_multiplatform_with_delegate(const obx_configuration* configuration, const obx_platform* platform,
                                                 const obx_delegate* delegate);
/* Replaces the delegate's callbacks (the table is copied); NULL removes them. May be called before or
 * after initialization; calls reach hosts initialized with either multiplatform function. A call that
 * had already begun when this returns may still complete with the previous table. */
void obx_set_delegate(const obx_delegate* delegate);

void obx_start_new_screen(const char* name, bool disable_recording_on_this_screen);
void obx_stop_screen(void);

void obx_send_goal(const char* name);
void obx_send_goal_value(const char* name, float value);
void obx_send_dimension_string(const char* name, const char* value);
void obx_send_dimension_bool(const char* name, bool value);
void obx_send_dimension_double(const char* name, double value);
void obx_send_error(const char* text);
void obx_send_http_error(int32_t status_code);
void obx_form_success(void);
void obx_form_error(const char* error);
/* A failed submission with the tag naming the field at fault; a NULL selector names none. */
void obx_form_error_selector(const char* error, const char* selector);

void obx_set_consent(obx_consent consent);
void obx_set_retention(bool value);
/* 0 poor ... 4 ultra; other values are logged and ignored. */
void obx_set_image_quality(int32_t quality);
void obx_set_masking_color(double red, double green, double blue, double alpha);
void obx_enable_auto_masking(const obx_mask_automatic* list, int32_t count);
void obx_disable_auto_masking(const obx_mask_automatic* list, int32_t count);
/* Masks these categories on the screen recorded next; nothing before initialization. */
void obx_set_masking_for_current_screen(const obx_mask_automatic* list, int32_t count);
void obx_capture_url_parameters(bool value);
void obx_set_mobile_data_enable(bool value);
bool obx_mobile_data_enable(void);

/* The current session's public ID, or NULL. */
char* obx_session_id(void);
/* The current session's portal link, or NULL until the live configuration has arrived and while
 * the session is out of sample. */
char* obx_session_url(void);
/* The query string a host adds to the URL of a page it shows in a web view, so that the page's web
 * tag joins this session: "qv_sid=<id>&qv_lid=<lead>&qv_from_native=1", followed by
 * "&qv_in_sample=<flag>" once the live configuration has arrived. NULL before initialization. */
char* obx_web_view_properties(void);
char* obx_sdk_version(void);
/* The host application's version as its bundle gives it, or NULL. */
char* obx_app_version(void);

/* Receives the session's portal link (NULL when there is none) once the live configuration has
 * arrived and at each new session; installing it after that calls it at once. It runs on one of
 * the SDK's threads; `url` is valid only during the call. A NULL callback removes it. */
typedef void (*obx_session_url_callback)(void* user_data, const char* url);
void obx_set_session_url_callback(obx_session_url_callback callback, void* user_data);
void obx_save_log(const char* message);
void obx_string_free(char* text);

/* For a host initialized with OBX_MAIN_QUEUE_HOST_DRAINS: runs the main-queue work that is ready
 * now on the calling thread, always the same one (the host's UI thread), and returns how many blocks
 * ran. It never waits for the SDK and never calls the delegate. Otherwise it runs nothing: 0. */
int32_t obx_main_queue_drain(void);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#ifdef __cplusplus
}
#endif

#endif /* OBX_OBX_H */
