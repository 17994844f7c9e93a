#include "platform/orb/base/Text.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "platform/orb/base/Enum.h"
#include "platform/orb/base/Error.h"
#include "platform/orb/base/Value.h"

namespace Sample {

ORB_ENUM(Colour, "Sample::Colour", red = 1, green, all = 4294967295);

class Inner : public Orb::Value<Inner> {
 public:
  ORB_VALUE(Inner, "Sample::Inner", low, high);
  ORB_FIELD(low, Orb::U32);
  ORB_FIELD(high, Orb::U32, 9);
  void check() const {
    if (low() > high()) throw Orb::RangeException("Inner::low > Inner::high not allowed");
  }
};

class Outer : public Orb::Value<Outer> {
 public:
  ORB_VALUE(Outer, "Sample::Outer", text, colour, flag, small, inner);
  ORB_FIELD(text, Orb::String);
  ORB_FIELD(colour, Colour, green);
  ORB_FIELD(flag, bool);
  ORB_FIELD(small, Orb::U8);
  ORB_FIELD(inner, Inner);
};

}  // namespace Sample

namespace {

using Sample::Inner;
using Sample::Outer;

/// What the text reads as, written again, or "refused".
std::string readFloat(std::string_view text) {
  float v = 0;
  try {
    Orb::fromText(v, text);
  } catch (Orb::RangeException const&) {
    return "refused";
  }
  return Orb::toText(v);
}

TEST(Text, WritesFloatsInTheirShortestFormAndReadsAnyDecimal) {
  using Limits = std::numeric_limits<float>;
  for (auto const& [value, text] : {std::pair{-0.0F, "-0"},
                                    {0.1F, "0.1"},
                                    {1e10F, "1e+10"},
                                    {16777216.0F, "16777216"},
                                    {Limits::max(), "3.4028235e+38"},
                                    {Limits::denorm_min(), "1e-45"},
                                    {-Limits::infinity(), "-inf"},
                                    {Limits::quiet_NaN(), "nan"},
                                    {-Limits::quiet_NaN(), "-nan"}}) {
    EXPECT_EQ(Orb::toText(value), text);
    float back = 1;
    Orb::fromText(back, text);
    EXPECT_TRUE(Orb::sameValue(back, value)) << text;
  }
  for (auto const& [typed, text] : {std::pair{"1e30", "1e+30"},
                                    {"0.50", "0.5"},
                                    {"-01", "-1"},
                                    {".5", "0.5"},
                                    {"5.", "5"},
                                    {"1E+10", "1e+10"},
                                    {"0.10000000149", "0.1"}}) {
    EXPECT_EQ(readFloat(typed), text);
  }
  for (auto const* const bad : {"", "+1", "0x1", " 1", "1 ", "1,", "1e", "--1", "1e39", "1e-46",
                                "INF", "infinity", "nan(1)", "x"}) {
    EXPECT_EQ(readFloat(bad), "refused") << bad;
  }
}

TEST(Text, QuotesStrings) {
  EXPECT_EQ(Orb::toText(Orb::String(std::string_view("it's\\\n\0\x7f", 8))),
            R"('it\'s\\\n\x00\x7f')");
}

TEST(Text, ShowsWhateverStandsInIt) {
  using namespace std::string_view_literals;
  for (auto const& [text, shown] :
       {std::pair{"a\0\x1b[2J\n\t\x7f'\\"sv, R"(a\x00\x1b[2J\n\t\x7f'\)"},
        {"\u00e9\u20ac\U0001f600"sv, "\u00e9\u20ac\U0001f600"},  // of two, three, four bytes
        {"\u009b\u009f\u00a0"sv, "\\xc2\\x9b\\xc2\\x9f\u00a0"},  // C1 and what follows it
        {"\x9b\xff\xc3"sv, R"(\x9b\xff\xc3)"},
        {"\xc1\xbf\xe0\x9f\xbf\xed\xa0\x80"sv, R"(\xc1\xbf\xe0\x9f\xbf\xed\xa0\x80)"},
        {"\xf0\x8f\xbf\xbf\xf4\x90\x80\x80"sv, R"(\xf0\x8f\xbf\xbf\xf4\x90\x80\x80)"},
        {"\xed\x9f\xbf\xf4\x8f\xbf\xbf"sv, "\xed\x9f\xbf\xf4\x8f\xbf\xbf"}}) {
    EXPECT_EQ(Orb::messageText(text), shown);
  }
  std::string kept;
  Orb::writeVisible(kept, "a\tb\n\r", "\n\t");
  EXPECT_EQ(kept, "a\tb\n\\r");
  EXPECT_EQ(Orb::messageText("abc", 3), "abc");
  EXPECT_EQ(Orb::messageText("ab\u20ac\u20ac", 4), "ab...") << "no part of a character";
  EXPECT_EQ(Orb::messageText("ab\u20ac\u20ac", 5), "ab\u20ac...");
  EXPECT_EQ(Orb::messageText("\x1b\x1b", 7), R"(\x1b...)") << "what is shown counts";
  EXPECT_EQ(Orb::quotedForMessage("it's \u009b"), R"('it\'s \xc2\x9b')");
  std::string const most(60, 'a');
  EXPECT_EQ(Orb::quotedForMessage(most), "'" + most + "'");
  EXPECT_EQ(Orb::quotedForMessage(most.substr(1) + "\u00e9"), "'" + most.substr(1) + "'...");
}

TEST(Text, ValuesNameTheirFields) {
  Outer const v =
      Outer::of(Orb::String("a, 'b'})"), Sample::red, true, Orb::U8{7}, Inner::of(1U, 2U));
  std::string const text =
      R"(Value('Sample::Outer', ** {'text': 'a, \'b\'})', 'colour': red, 'flag': True, )"
      R"('small': 7, 'inner': Value('Sample::Inner', ** {'low': 1, 'high': 2})}))";
  EXPECT_EQ(Orb::toText(v), text);
  EXPECT_EQ(Outer(text), v);

  for (auto const& [from, to, attribute] : {std::array{"red", "blue", "Sample::Outer::colour"},
                                            {"'small': 7", "'small': 256", "Sample::Outer::small"},
                                            {"'small'", "'smell'", "Sample::Outer::small"},
                                            {"'high': 2", "'high': x", "Sample::Inner::high"},
                                            {"'low': 1", "'low': 3", "Sample::Outer::inner"}}) {
    std::string bad = text;
    bad.replace(bad.find(from), std::string(from).size(), to);
    try {
      Outer const read(bad);
      FAIL() << bad;
    } catch (Orb::ParseException const& error) {
      EXPECT_EQ(error.attribute(), attribute) << error.what();
    }
  }

  EXPECT_LT(Inner::of(0U, 7U), Inner::of(1U, 1U));
  EXPECT_NE(hashOf(Inner::of(1U, 2U)), hashOf(Inner::of(2U, 2U)));
  EXPECT_THROW(Inner::of(3U, 2U), Orb::RangeException);
  EXPECT_EQ(Inner().high(), 9U);
}

TEST(Enum, KnowsItsNamesAndNumbers) {
  using Sample::Colour;
  EXPECT_EQ(Sample::ColourInstance(2U), Colour::green);
  EXPECT_EQ(Sample::ColourInstance("all"), Sample::all);
  EXPECT_THROW(Sample::ColourInstance(3U), Orb::RangeException);
  EXPECT_THROW(Sample::ColourInstance("Red"), Orb::RangeException);
  EXPECT_EQ(stringValue(Sample::all), "all");
  EXPECT_EQ(stringValue(static_cast<Colour>(3)), "3") << "a number without a name";
  Orb::EnumType const* const type = Orb::enumType("Sample::Colour");
  ASSERT_TRUE(type);
  EXPECT_EQ(type->enumerators[1].value, 2U) << "follows the one before it";
  EXPECT_FALSE(Orb::enumType("Sample::Color"));
}

TEST(ErrorDeathTest, AnAssertionPrintsItsCondition) {
  bool const here_ = false;
  EXPECT_DEATH(ORB_ASSERT(here_ && "what must hold"),
               R"(assertion failed: here_ && "what must hold")");
  EXPECT_EQ(Orb::nullParameterMessage("A::B", "c"),
            "null _c parameter to mutator for A::B::c not allowed\"");
}

}  // namespace
