// FieldType: the kinds of control a form lists, each reported under its case name.
#pragma once

#include <string>

namespace obx {

enum class FieldType { text, textarea, button, checkbox, progressbar, picker, datepicker, segment };

inline std::string rawValue(FieldType type) {
  switch (type) {
    case FieldType::text: return "text";
    case FieldType::textarea: return "textarea";
    case FieldType::button: return "button";
    case FieldType::checkbox: return "checkbox";
    case FieldType::progressbar: return "progressbar";
    case FieldType::picker: return "picker";
    case FieldType::datepicker: return "datepicker";
    case FieldType::segment: return "segment";
  }
  return "text";
}

}  // namespace obx
