// Names of outputs: what fields become, and what is no template.
#include "NameTemplate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vindrel::test {
namespace {

using cli::NameTemplate;
using testing::HasSubstr;
using testing::IsEmpty;

std::string nameOf(const std::string &text, const cli::NameFields &fields) {
  EXPECT_THAT(NameTemplate::whyNot(text), IsEmpty());
  return NameTemplate(text).nameOf(fields);
}

TEST(NameTemplate, IsThePhotographsNameUnlessSomethingElseIsAskedFor) {
  EXPECT_EQ(NameTemplate().nameOf({"IMG_1", "jpg", 0, 3}), "IMG_1.jpg");
  EXPECT_EQ(NameTemplate().nameOf({"IMG_1", "", 0, 3}), "IMG_1");
}

TEST(NameTemplate, FillsItsFieldsInWhereverTheyStand) {
  EXPECT_EQ(nameOf("{stem}_aligned.{ext}", {"IMG_1", "jpg", 0, 3}), "IMG_1_aligned.jpg");
  EXPECT_EQ(nameOf("{index}{stem}{stem}.{ext}", {"a", "tif", 1, 3}), "2aa.tif");
  EXPECT_EQ(nameOf("x{name}", {"a", "tif", 1, 3}), "xa.tif");
  EXPECT_EQ(nameOf("plain.png", {"a", "tif", 1, 3}), "plain.png");
}

TEST(NameTemplate, CountsFromOneWithAsManyDigitsAsTheLastNumberHas) {
  EXPECT_EQ(nameOf("{index}", {"a", "tif", 0, 9}), "1");
  EXPECT_EQ(nameOf("{index}", {"a", "tif", 8, 10}), "09");
  EXPECT_EQ(nameOf("{index}", {"a", "tif", 99, 100}), "100");
}

TEST(NameTemplate, LeavesFieldsInThePhotographsNameAlone) {
  EXPECT_EQ(nameOf("{stem}.{ext}", {"{index}", "jpg", 0, 1}), "{index}.jpg");
}

TEST(NameTemplate, ThatNamesFoldersIsRefused) {
  EXPECT_THAT(NameTemplate::whyNot("sub/{name}"), HasSubstr("must not hold a /"));
  EXPECT_THAT(NameTemplate::whyNot(".."), HasSubstr("folder"));
  EXPECT_THAT(NameTemplate::whyNot(""), HasSubstr("empty"));
}

TEST(NameTemplate, WithAFieldThatNobodyKnowsIsRefusedWithThoseThatAreKnown) {
  EXPECT_THAT(NameTemplate::whyNot("{date}.jpg"), HasSubstr("{date}; {name}, {stem}, {ext} and {index} are known"));
  EXPECT_THAT(NameTemplate::whyNot("{}.jpg"), HasSubstr("no meaning for {}"));
  EXPECT_THAT(NameTemplate::whyNot("{Stem}.jpg"), HasSubstr("{Stem}"));
}

TEST(NameTemplate, WithASingleBraceIsRefused) {
  EXPECT_THAT(NameTemplate::whyNot("{stem.jpg"), HasSubstr("a { without its }"));
  EXPECT_THAT(NameTemplate::whyNot("stem}.jpg"), HasSubstr("a } without its {"));
}

} // namespace
} // namespace vindrel::test
