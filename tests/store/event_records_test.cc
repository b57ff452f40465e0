#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "store/events/event.h"
#include "store/events/events_file.h"
#include "store/events/image.h"
#include "store/events/read_event.h"

namespace obx {
namespace {

template <typename T>
std::string encode(EventType type, std::int64_t offset, const T& payload) {
  return encodeJSON(Json(Event<T>{type, offset, payload}));
}

// The 27 raw values in their order, and unknown strings give no type. ReadEvent reads "t" and "o" of
// every type and ignores the rest; an unknown "t" or a missing "o" fails it.
TEST(EventRecordsTest, EventTypeRawValuesAndReadEvent) {
  const std::vector<std::string> expected = {
      "session", "batch", "screen", "aM", "tB", "tM", "tE", "samplingStatus", "crash",
      "httperror", "applicationError", "goal", "dimension", "form-meta", "form-view", "field-view",
      "scroll", "aE", "bE", "performance", "idle", "formSuccess", "image", "images",
      "weightedSampling", "network", "placeholder"};
  ASSERT_EQ(allEventTypes().size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(rawValue(allEventTypes()[i]), expected[i]);
    EXPECT_EQ(eventTypeFromRawValue(expected[i]), allEventTypes()[i]);
    auto read = decodeReadEvent(R"({"t":")" + expected[i] + R"(","o":-42,"d":{"whatever":[1,2]}})");
    ASSERT_TRUE(read.has_value()) << expected[i];
    EXPECT_EQ(read->type, allEventTypes()[i]);
    EXPECT_EQ(read->offset, -42);
  }
  for (const char* unknown : {"", "Session", "touchBegan", "appMiscellaneous", "imagePlaceholder", "aE "}) {
    EXPECT_FALSE(eventTypeFromRawValue(unknown).has_value()) << unknown;
  }
  EXPECT_FALSE(decodeReadEvent(R"({"t":"unknown","o":0,"d":1})").has_value());
  EXPECT_FALSE(decodeReadEvent(R"({"t":"aE","d":"x"})").has_value());
}

// Whole events encode to the exact bytes of the key table: envelope "t","o","d", short payload
// keys, optional keys absent, slashes unescaped, UTF-8 as is.
TEST(EventRecordsTest, EncodedBytes) {
  Touch bare;
  bare.x = 10;
  bare.y = -3;
  Touch full{1, 2, 3, 4, 5, 6, 7};
  Screen screen{"Home/Detail", 2, 1500, "portrait"};
  Performance performance{12.5, 300, 0.75, 8, 4096, std::nullopt};
  Performance stressed = performance;
  stressed.underStress = "cpu";
  FormView formView;
  formView.offset = 40;
  formView.formHash = "h1";
  FieldView fieldView;
  fieldView.offset = 9;
  fieldView.formHash = "fh";
  fieldView.field = "#email";
  fieldView.errorDesc = "bad";
  Network network{"https://api.x.io/v1", "a=1", "GET", 200, 1700000000000, 35, 10, 2048, "", true};
  struct Case {
    std::string name;
    std::string bytes;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"touch with x and y only", encode(EventType::touchBegan, 5, std::vector<Touch>{bare}),
       R"({"t":"tB","o":5,"d":[{"x":10,"y":-3}]})"},
      {"touch with every key", encode(EventType::touchEnded, 0, std::vector<Touch>{full}),
       R"({"t":"tE","o":0,"d":[{"x":1,"y":2,"oX":3,"oY":4,"cf":5,"sID":6,"pID":7}]})"},
      {"screen orientation under o", encode(EventType::screen, -20, screen),
       R"({"t":"screen","o":-20,"d":{"sN":"Home/Detail","sI":2,"sT":1500,"o":"portrait"}})"},
      {"application end carries a string", encode(EventType::applicationEnd, 7, std::string("a/b")),
       R"({"t":"aE","o":7,"d":"a/b"})"},
      {"placeholder carries a bool", encode(EventType::imagePlaceholder, 1, true),
       R"({"t":"placeholder","o":1,"d":true})"},
      {"performance without stress", encode(EventType::performance, 2, performance),
       R"({"t":"performance","o":2,"d":{"c":12.5,"m":300.0,"b":0.75,"nC":8,"mM":4096.0}})"},
      {"performance with stress", encode(EventType::performance, 2, stressed),
       R"({"t":"performance","o":2,"d":{"c":12.5,"m":300.0,"b":0.75,"nC":8,"mM":4096.0,"uS":"cpu"}})"},
      {"form view optionals absent", encode(EventType::formView, 3, formView),
       R"({"t":"form-view","o":3,"d":{"offset":40,"h":"h1"}})"},
      {"field view", encode(EventType::fieldView, 3, fieldView),
       R"({"t":"field-view","o":3,"d":{"offset":9,"fh":"fh","s":"#email","erStr":"bad"}})"},
      {"network", encode(EventType::network, 4, network),
       R"({"t":"network","o":4,"d":{"host":"https://api.x.io/v1","parameters":"a=1","method":"GET","code":200,)"
       R"("dateRequest":1700000000000,"duration":35,"bytesSent":10,"bytesReceived":2048,"error":"","private":true}})"},
      {"scroll float in shortest form", encode(EventType::scroll, 0, std::vector<Scroll>{{800, 1200, 0.1f}}),
       R"({"t":"scroll","o":0,"d":[{"sH":800,"fT":1200,"oY":0.1}]})"},
      {"goal", encode(EventType::goal, 0, Goal{"buy", "EUR", 19.99f}),
       R"({"t":"goal","o":0,"d":{"conid":"buy","conc":"EUR","conv":19.99}})"},
      {"weighted sampling without flags", encode(EventType::weightedSampling, 0, WeightedSampling{{}, {}, "w"}),
       R"({"t":"weightedSampling","o":0,"d":{"sampling":"w"}})"},
      {"sampling", encode(EventType::samplingStatus, 0, Sampling{1, 2, 3, std::nullopt}),
       R"({"t":"samplingStatus","o":0,"d":{"experienceDataStatus":1,"analysisDataStatusSession":2,"replayDataStatus":3}})"},
      {"non-ASCII text unescaped", encode(EventType::appError, 0, AppError{"é ✓"}),
       "{\"t\":\"applicationError\",\"o\":0,\"d\":{\"error\":\"é ✓\"}}"},
      {"form meta", encode(EventType::formMeta, 0, FormMeta{"h", "tr", {{"text", "#a", "A"}}, 1, "n", "s", 0}),
       R"({"t":"form-meta","o":0,"d":{"h":"h","ht":"tr","e":[{"t":"text","s":"#a","ti":"A"}],"i":1,"n":"n","s":"s","cs":0}})"},
      {"image data", encode(EventType::images, 0, std::vector<ImageData>{{"zk", 0, 390, 844, 1200, 99}}),
       R"({"t":"images","o":0,"d":[{"sName":"zk","sIndex":0,"sWidth":390,"sHeight":844,"sDuration":1200,"timestamp":99}]})"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.bytes, c.expected) << c.name;
}

// A dimension writes "value" as String, Bool or Double, and nothing for any other type.
TEST(EventRecordsTest, CustomDimensionValues) {
  EXPECT_EQ(encodeJSON(Json(CustomDimension{"plan", std::string("gold")})), R"({"name":"plan","value":"gold"})");
  EXPECT_EQ(encodeJSON(Json(CustomDimension{"vip", true})), R"({"name":"vip","value":true})");
  EXPECT_EQ(encodeJSON(Json(CustomDimension{"score", 2.5})), R"({"name":"score","value":2.5})");
  EXPECT_EQ(encodeJSON(Json(CustomDimension{"count", 3})), R"({"name":"count"})");
  EXPECT_EQ(encodeJSON(Json(CustomDimension{"none", std::any()})), R"({"name":"none"})");

  auto decoded = parseJSON(R"({"name":"n","value":false})").get<CustomDimension>();
  EXPECT_EQ(decoded.boolValue(), false);
  EXPECT_EQ(parseJSON(R"({"name":"n","value":4})").get<CustomDimension>().doubleValue(), 4.0);
}

// Every payload type survives a round trip through bytes with the type its "t" names.
TEST(EventRecordsTest, AnyEventRoundTrip) {
  Crash crash{1700000000, "SIGSEGV", 11, {"0 app", "1 libc"}};
  std::vector<AnyEvent> events = {
      {EventType::session, 0, Session{"s", "l"}},
      {EventType::batch, 1, Batch{"c", 1767225600.25}},
      {EventType::appMiscellaneous, 2, AppMiscellaneous{3, "1.2", "0.1", "wifi", "Linux", "desktop", "pc", "6", "390x844"}},
      {EventType::touchMoved, 3, std::vector<Touch>{{1, 2, {}, {}, {}, {}, {}}}},
      {EventType::crash, 4, crash},
      {EventType::httpError, 5, HTTPError{"404"}},
      {EventType::dimension, 6, CustomDimension{"a", std::string("b")}},
      {EventType::batchEnd, 7, std::string("S_1")},
      {EventType::idle, 8, Idle{1.5, 30}},
      {EventType::formSuccess, 9, FormSuccess{true, std::nullopt, std::string("#f")}},
      {EventType::image, -10, ImageEvent{0, "zk0", 390, 844, 1767225600000}},
      {EventType::imagePlaceholder, 11, false},
  };
  for (const auto& event : events) {
    std::string bytes = encodeJSON(Json(event));
    auto decoded = decodeAnyEvent(bytes);
    ASSERT_TRUE(decoded.has_value()) << bytes;
    EXPECT_EQ(*decoded, event) << bytes;
    EXPECT_TRUE(payloadMatches(decoded->type, decoded->data));
  }
  EventsFile file{events};
  EXPECT_EQ(parseJSON(encodeJSON(Json(file))).get<EventsFile>(), file);
}

// Decoding is strict on required keys and types, lenient on absent optionals and unknown keys.
TEST(EventRecordsTest, StrictDecoding) {
  struct Case {
    const char* bytes;
    bool decodes;
  };
  const std::vector<Case> cases = {
      {R"({"t":"tB","o":1,"d":[{"x":1,"y":2}]})", true},
      {R"({"t":"tB","o":1,"d":[{"x":1,"y":2,"oX":null}],"extra":1})", true},
      {R"({"t":"tB","o":1,"d":[{"x":1}]})", false},             // y missing
      {R"({"t":"tB","o":1,"d":{"x":1,"y":2}})", false},         // not an array
      {R"({"t":"tB","d":[{"x":1,"y":2}]})", false},             // no offset
      {R"({"t":"tB","o":1})", false},                           // no data
      {R"({"o":1,"d":"x"})", false},                            // no type
      {R"({"t":"touch","o":1,"d":[]})", false},                 // unknown type
      {R"({"t":"aE","o":1,"d":5})", false},                     // string payload expected
      {R"({"t":"placeholder","o":1,"d":"true"})", false},       // bool payload expected
      {R"({"t":"screen","o":1.5,"d":{"sN":"a","sI":1,"sT":1,"o":"p"}})", false},  // fractional offset
      {R"({"t":"screen","o":2.0,"d":{"sN":"a","sI":1,"sT":1,"o":"p"}})", true},
      {R"({"t":"screen","o":1,"d":{"sN":"a","sI":"1","sT":1,"o":"p"}})", false},  // integer as string
      {R"({"t":"network","o":1,"d":{"host":"h"}})", false},
      {R"({"t":"dimension","o":1,"d":{"name":"n"}})", false},
      {R"({"t":"dimension","o":1,"d":{"name":"n","value":[1]}})", false},
      {"not json", false},
  };
  for (const auto& c : cases) EXPECT_EQ(decodeAnyEvent(c.bytes).has_value(), c.decodes) << c.bytes;
}

// An image carries its bytes as Base64 in JSON and back.
TEST(EventRecordsTest, ImageBase64) {
  Image image{3, std::string("\xff\xd8\xff\x00/+", 6), 1767225600123};
  std::string bytes = encodeJSON(Json(image));
  EXPECT_EQ(bytes, R"({"index":3,"data":"/9j/AC8r","timestamp":1767225600123})");
  EXPECT_EQ(parseJSON(bytes).get<Image>(), image);
  EXPECT_THROW(parseJSON(R"({"index":3,"data":"%%%","timestamp":1})").get<Image>(), DecodingError);
}

// A number that isn't finite can't be encoded (text that isn't UTF-8: see the serializer test below).
TEST(EventRecordsTest, EncodingFailures) {
  Performance performance;
  performance.cpu = std::numeric_limits<double>::quiet_NaN();
  EXPECT_THROW(encodeJSON(Json(performance)), EncodingError);
  Batch batch{"c", std::numeric_limits<double>::infinity()};
  EXPECT_THROW(encodeJSON(Json(batch)), EncodingError);
}

// The store's encoder writes the very bytes of the JSON library's own compact serializer, for
// every kind of value and every escape; what the library refuses, it refuses with the same text.
TEST(EventRecordsTest, EncoderMatchesTheLibrarySerializer) {
  const auto libraryDump = [](const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::strict); };
  const std::vector<std::pair<const char*, Json>> values = {
      {"scalars", Json::array({nullptr, true, false, 0, -1, std::numeric_limits<std::int64_t>::min(),
                               std::numeric_limits<std::uint64_t>::max()})},
      {"doubles", Json::array({0.0, -0.0, 12.0, 12.5, 0.1, 1.0 / 3.0, 1e-5, 1e-4, 123456789012345.0, 1e15, 1e16,
                               1e21, -2.5e-300, 1.7976931348623157e308, 5e-324, 788918400.25})},
      {"escapes", Json(std::string("q\"b\\s/t\tn\nr\rf\fb\bnul") + std::string(1, '\0') +
                       "\x01\x1f\x7f end")},
      {"utf-8", Json("\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xc2\xa0 \xef\xbf\xbf \xf4\x8f\xbf\xbf")},
      {"containers", Json::parse(R"({"b":[],"a":{},"c":[{"z":1,"y":[2,[3]]}],"":"k"})")},
      {"event", Json(Event<Performance>{EventType::performance, -250, Performance{12.5, 312.25, 0.8, 8, 7812.5, "cpu"}})},
  };
  for (const auto& [name, value] : values) {
    SCOPED_TRACE(name);
    EXPECT_EQ(encodeJSON(value), libraryDump(value));
  }

  // The envelope written around a payload's JSON gives the bytes of the whole event's.
  const std::vector<AnyEvent> events = {
      {EventType::performance, -250, Performance{12.5, 312.25, 0.8, 8, 7812.5, std::nullopt}},
      {EventType::touchBegan, 9223372036854775807, std::vector<Touch>{Touch{1, 2, 0, 3, std::nullopt, 4, std::nullopt}}},
      {EventType::formMeta, 0, FormMeta{}},
      {EventType::applicationEnd, 10, std::string("a/\"b\"")},
      {EventType::imagePlaceholder, -9223372036854775807 - 1, true},
  };
  for (const auto& event : events) {
    SCOPED_TRACE(std::string(rawValue(event.type)));
    EXPECT_EQ(encodeEvent(event.type, event.offset, Json(event.data)), libraryDump(Json(event)));
  }

  const std::vector<std::string> notUTF8 = {
      "\xc3\x28", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "ok \xe2\x82", "\x80",
  };
  for (const auto& text : notUTF8) {
    SCOPED_TRACE(text);
    std::string libraryError;
    try {
      (void)libraryDump(Json::object({{"k", text}}));
    } catch (const nlohmann::json::exception& error) {
      libraryError = error.what();
    }
    ASSERT_FALSE(libraryError.empty());
    try {
      (void)encodeJSON(Json::object({{"k", text}}));
      ADD_FAILURE() << "encoded";
    } catch (const EncodingError& error) {
      EXPECT_EQ(error.description, libraryError);
    }
  }
}

}  // namespace
}  // namespace obx
