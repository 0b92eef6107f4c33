// The Secret Service store against a real gnome-keyring-daemon, in the private session that
// run-in-keyring-session starts.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "core/secret_store.hpp"
#include "tests/keyring/keyring_session.hpp"

namespace orvanta {
namespace {

constexpr std::string_view kService = "me.tarlenvik.Orvanta.tests";

TEST(SecretServiceStore, AddsReadsReplacesAndRemovesItems) {
  ORVANTA_REQUIRE_KEYRING_SESSION();
  auto store = makeSecretStore();
  ASSERT_TRUE(checkSecretStoreReachable(*store)) << checkSecretStoreReachable(*store).error().description();

  const std::string first = "correct horse \xF0\x9F\x90\xB4 battery e\xCC\x81";  // emoji, combining accent
  ASSERT_TRUE(store->storeSecret(kService, "field.A", first, "Orvanta test A"));
  ASSERT_TRUE(store->storeSecret(kService, "field.B", "other", "Orvanta test B"));
  ASSERT_TRUE(store->storeSecret("me.tarlenvik.Orvanta.elsewhere", "field.A", "not ours", "Orvanta test C"));

  auto read = store->readSecret(kService, "field.A");
  ASSERT_TRUE(read) << read.error().description();
  EXPECT_EQ(*read, first);

  // Storing again replaces the one item rather than adding a second.
  ASSERT_TRUE(store->storeSecret(kService, "field.A", "second", "Orvanta test A"));
  EXPECT_EQ(store->readSecret(kService, "field.A").value_or("?"), "second");
  EXPECT_EQ(store->readSecret(kService, "field.B").value_or("?"), "other");
  EXPECT_EQ(store->readSecret("me.tarlenvik.Orvanta.elsewhere", "field.A").value_or("?"), "not ours");

  ASSERT_TRUE(store->removeSecret(kService, "field.A"));
  EXPECT_EQ(store->readSecret(kService, "field.A").error(), SecretStoreError::notFound());
  EXPECT_EQ(store->removeSecret(kService, "field.A").error(), SecretStoreError::notFound());
  EXPECT_EQ(store->readSecret(kService, "field.B").value_or("?"), "other");

  EXPECT_TRUE(store->removeSecret(kService, "field.B"));
  EXPECT_TRUE(store->removeSecret("me.tarlenvik.Orvanta.elsewhere", "field.A"));
}

TEST(SecretServiceStore, MissingItemIsNotFound) {
  ORVANTA_REQUIRE_KEYRING_SESSION();
  auto store = makeSecretStore();
  EXPECT_EQ(store->readSecret(kService, "never-stored").error(), SecretStoreError::notFound());
  EXPECT_EQ(store->removeSecret(kService, "never-stored").error(), SecretStoreError::notFound());
}

}  // namespace
}  // namespace orvanta
