/* C API of the OBX SDK, for hosts that bind through a C ABI (FFI, JSI, P/Invoke).
 * Every function may be called from any thread and never fails loudly: bad input is logged and
 * ignored. Strings are UTF-8 and NUL-terminated; strings returned by the SDK are owned by the caller
 * and released with obx_string_free. */
#ifndef OBX_OBX_H
#define OBX_OBX_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
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
} obx_configuration;

typedef struct {
  obx_platform_type type;
  const char* version;  /* the framework's version, compared with the blocked lists */
  const char* language;
} obx_platform;

/* Initializes for a native host. */
void obx_initialize(const obx_configuration* configuration);
/* Initializes for a multiplatform host; `platform` may be NULL for a native one. */
void obx_initialize_multiplatform(const obx_configuration* configuration, const obx_platform* platform);

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

void obx_set_consent(obx_consent consent);
void obx_set_retention(bool value);
/* 0 poor ... 4 ultra; other values are logged and ignored. */
void obx_set_image_quality(int32_t quality);
void obx_set_masking_color(double red, double green, double blue, double alpha);
void obx_enable_auto_masking(const obx_mask_automatic* list, int32_t count);
void obx_disable_auto_masking(const obx_mask_automatic* list, int32_t count);
void obx_capture_url_parameters(bool value);
void obx_set_mobile_data_enable(bool value);
bool obx_mobile_data_enable(void);

/* The current session's public ID, or NULL. */
char* obx_session_id(void);
char* obx_web_view_properties(void);
char* obx_sdk_version(void);
void obx_save_log(const char* message);
void obx_string_free(char* text);

#ifdef __cplusplus
}
#endif

#endif /* OBX_OBX_H */
