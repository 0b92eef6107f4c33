// Tests in this folder need the Secret Service of the session that run-in-keyring-session starts.
#pragma once

#include <cstdlib>

#include <gtest/gtest.h>

// Skips the test, saying why, when there is no session bus; fails it when there is a bus but the program
// was not started by run-in-keyring-session (it would otherwise write into the user's own keyring).
#define ORVANTA_REQUIRE_KEYRING_SESSION()                                                                    \
  do {                                                                                                       \
    const char* bus = std::getenv("DBUS_SESSION_BUS_ADDRESS");                                               \
    if (bus == nullptr || *bus == '\0') {                                                                    \
      GTEST_SKIP() << "No D-Bus session bus: run this program through tests/keyring/run-in-keyring-session " \
                      "(scripts/test and ctest do), which starts a private one with gnome-keyring.";         \
    }                                                                                                        \
    const char* ours = std::getenv("ORVANTA_KEYRING_SESSION");                                               \
    ASSERT_TRUE(ours != nullptr && *ours == '1')                                                             \
        << "Refusing to use the user's own keyring: run through tests/keyring/run-in-keyring-session.";      \
  } while (false)
