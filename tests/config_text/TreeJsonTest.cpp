#include "config_text/TreeJson.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "tests/support/ScarceMemory.h"

namespace ConfigText {
namespace {

using Json = nlohmann::json;

// Another writer is the model. It has shorter escapes for some, so what is read back is compared.
void check(std::string const& text) {
  std::string out;
  writeJsonString(out, text);
  std::string const model = Json(text).dump(-1, ' ', true, Json::error_handler_t::replace);
  EXPECT_EQ(Json::parse(out, nullptr, false), Json::parse(model)) << out << " for " << model;
  for (char const c : out) EXPECT_TRUE(c >= ' ' && c < 0x7f) << out;
}

TEST(TreeJson, WritesStringsInAsciiWhateverTheirBytes) {
  for (char const* const text :
       {"", "\"\\/", "\t\n\r\x1f\x7f", "\u0080\u009f\u00e9\u07ff", "\u0800\ud7ff\ue000\uffff",
        "\U00010000\U0001f600\U0010ffff", "\xc0\xaf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf",
        "\xed\xa0\x80\xed\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xc3", "\xe2\x82",
        "\xf0\x9f\x98",
        "\xf0\x9f\x98"
        "a\xe2\x82\xe2\x82\xac\xc3\"",
        "\x80\xbf\xfe\xff"}) {
    check(text);
  }
  // The bounds of what each byte of a sequence may be, in any order.
  std::string const bytes(
      "\0\x1f\"\\a\x7f\x80\x8f\x90\x9f\xa0\xbf\xc1\xc2\xdf\xe0\xe1\xec\xed\xee"
      "\xef\xf0\xf1\xf3\xf4\xf5\xff",
      27);
  std::mt19937 random(1);
  for (int round = 0; round < 30000; ++round) {
    std::string text(random() % 8, ' ');
    for (char& c : text) c = bytes[random() % bytes.size()];
    check(text);
  }
}

TEST(TreeJson, ThrowsWhereMemoryRunsOut) {
  // In each of the steps "{{}}" in turn, so that one object ends while the other one throws.
  for (std::size_t granted = 0; granted <= 4; ++granted) {
    StringSink sink;
    std::size_t const before = sink.text().capacity() - granted;
    sink.text().append(before, ' ');
    try {
      TestSupport::ScarceMemory const none(0);
      JsonObject const outer(sink);
      JsonObject const inner(sink);
    } catch (std::bad_alloc const&) {
      EXPECT_LT(granted, 4U);
    }
    EXPECT_EQ(sink.text().substr(before), std::string("{{}}").substr(0, granted));
  }
}

}  // namespace
}  // namespace ConfigText
