#include <gtest/gtest.h>

#include "proxy/proxy.h"

namespace {

TEST(SecretKind, HexFirstThenTheAlphabetsOwnSigns) {
  EXPECT_EQ(secret_kind("dd00112233445566778899aabbccddeE"), "hex");
  EXPECT_EQ(secret_kind("abc"), "raw");  // of odd length
  EXPECT_EQ(secret_kind("ab-d"), "b64url");
  EXPECT_EQ(secret_kind("ab_d/"), "b64url");
  EXPECT_EQ(secret_kind("a+bc"), "b64");
  EXPECT_EQ(secret_kind("a/bc"), "b64");
  EXPECT_EQ(secret_kind("7nY="), "raw");
}

}  // namespace
