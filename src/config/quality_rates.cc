#include "config/quality_rates.h"

namespace obx {

int framesPerSecond(VideoQualityType quality) {
  switch (quality) {
    case VideoQualityType::poor: return 2;
    case VideoQualityType::low: return 4;
    case VideoQualityType::average: return 6;
    case VideoQualityType::high: return 10;
    case VideoQualityType::ultra: return 12;
  }
  return 6;
}

double jpegCompressionQuality(ImageQualityType quality) {
  switch (quality) {
    case ImageQualityType::poor: return 0.1;
    case ImageQualityType::low: return 0.25;
    case ImageQualityType::average: return 0.5;
    case ImageQualityType::high: return 0.75;
    case ImageQualityType::ultra: return 0.9;
  }
  return 0.5;
}

}  // namespace obx
