// Tests which texts are found in sources.
#include "documents/source_messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string shown(const SourceMessage& message) {
  std::string text = message.way + ": " + message.text;
  for (const auto& part : {message.tags, message.codes, message.files}) {
    text += " /";
    for (const std::string& each : part)
      text += ' ' + each;
  }
  return text;
}

std::vector<std::string> found(const std::vector<SourceFile>& sources) {
  std::vector<std::string> messages;
  for (const SourceMessage& message : findMessages(sources))
    messages.push_back(shown(message));
  return messages;
}

TEST(SourceMessages, AreWhatReportingFunctionsAreCalledWith) {
  EXPECT_THAT(found({{"a.cc",
                      "void f() {\n"
                      "  setError(error, \"F::f\", -1, \"Size %d of \"\n"
                      "           \"\\\"%s\\\"\", g(1, 2), name);\n"
                      "  callback->logWarning(\"Careful\");\n"
                      "}"}}),
              ElementsAre("reportError: Size %d of \"%s\" / F::f / -1 / a.cc",
                          "logWarning: Careful / / / a.cc"));
}

TEST(SourceMessages, AreListedOnceWithAllTheirPlaces) {
  EXPECT_THAT(
      found({{"a.cc", "x = makeError(\"A\", -1, \"No\");"},
             {"b.cc", "x = makeError(\"B\", -2, \"No\"); y = makeError(\"A\", -1, \"No\");"}}),
      ElementsAre("reportError: No / A B / -1 -2 / a.cc b.cc"));
}

TEST(SourceMessages, HaveTheTagThatAConstantNames) {
  EXPECT_THAT(
      found({{"a.cc",
              "constexpr const char* kTag = \"First\"; void f() { setError(e, kTag, -1, "
              "\"one\"); } void g() { constexpr const char* kTag = \"Second\"; setError(e, "
              "kTag, -1, \"two\"); setError(e, kShared, -1, \"three\"); }"},
             {"a.h", "constexpr const char* kShared = \"Third\";"}}),
      ElementsAre("reportError: one / First / -1 / a.cc", "reportError: two / Second / -1 / a.cc",
                  "reportError: three / Third / -1 / a.cc"));
}

TEST(SourceMessages, OfAFunctionThatIsGivenItsTagHaveThoseOfItsCallers) {
  EXPECT_THAT(found({{"a.cc",
                      "Chain fail(int x, const char* tag) { return makeError(tag, code, \"%s\", "
                      "systemErrorText(code).text()); }\n"
                      "Chain pass(const char* tag) const { return fail(1, tag); }\n"
                      "void f() { fail(2, \"One\"); pass(\"Two\"); }"}}),
              ElementsAre("reportError: (%lu) %s / Two One / the system's / a.cc"));
}

TEST(SourceMessages, AreOtherSentencesToo) {
  EXPECT_THAT(found({{"a.cc",
                      "// \"in a comment\"\n"
                      "#define X \"in a directive\"\n"
                      "static_assert(x, \"for the compiler\");\n"
                      "const char* a = \"no error\"; const char* b = \"word\"; char c = '\"';"}}),
              ElementsAre("other: no error / / / a.cc"));
}

TEST(SourceMessages, ThatAreInsertedElsewhereInTheFileAreReportedThere) {
  EXPECT_THAT(found({{"a.cc",
                      "const char* why() { return \"It is late\"; }\n"
                      "void f() { setError(e, \"F\", -1, \"%s\", why()); }"}}),
              ElementsAre("reportError: It is late / F / -1 / a.cc"));
}

TEST(SourceMessages, ThatArePutTogetherShowWhatIsInserted) {
  EXPECT_THAT(
      found({{"a.cc",
              "a = ownError(\"No \\\"\" + name + '\"');"
              "refuse(std::string(\"version \") + std::to_string(f(x)) + \" is old\");"
              "b = ownError(cause);"}}),
      ElementsAre("host kit: No \"%s\" / / / a.cc", "host kit: version %s is old / / / a.cc"));
}

TEST(SourceMessages, AreNotFoundInDeclarations) {
  EXPECT_THAT(found({{"a.cc", "void logWarning(const char* format, ...);"},
                     {"a.h", "Error ownError(std::string message);"}}),
              IsEmpty());
}

TEST(ConnectionErrorReasons, AreTheValuesAndNotTheFlags) {
  const std::vector<SourceMessage> reasons = connectionErrorReasons(
      "enum A { CONNECTION_ERROR_TLS = 3, CONNECTION_ERROR_FLAG = 0x1000 };");
  ASSERT_EQ(reasons.size(), 1U);
  EXPECT_EQ(shown(reasons[0]), "reason: reason=3 / CONNECTION_ERROR_TLS / /");
}

}  // namespace
