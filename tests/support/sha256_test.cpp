#include <gtest/gtest.h>

#include "support/hmac_sha256.hpp"

namespace orvanta {
namespace {

TEST(Sha256Test, KnownDigestsWhateverThePieces) {
  Sha256 digest;
  EXPECT_EQ(lowerHex(digest.finish()), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  digest.update("a");
  digest.update("");
  digest.update("bc");
  EXPECT_EQ(lowerHex(digest.finish()), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  // finish() starts over.
  digest.update("abc");
  EXPECT_EQ(lowerHex(digest.finish()), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace orvanta
