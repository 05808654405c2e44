// Starting a real Secret Service keyring inside a test's own D-Bus session
// (dbus-run-session), for tests that run processes against it.
#pragma once

#include <string>

namespace zephyl::platform::testing {

// Shell lines that start gnome-keyring-daemon with its keyring unlocked (an
// empty password) or left locked, then wait until it owns its bus name: the
// daemon may return before it does, and a client that called then would have
// the bus start a second daemon, whose keyring needs a prompt that cannot be
// shown here.
inline std::string startKeyringShellLines(bool unlock) {
  return std::string(unlock ? "printf '\\n' | gnome-keyring-daemon --unlock --components=secrets >/dev/null\n"
                            : "gnome-keyring-daemon --start --components=secrets >/dev/null\n") +
         "for i in $(seq 100); do dbus-send --session --print-reply --dest=org.freedesktop.DBus"
         " /org/freedesktop/DBus org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets"
         " 2>/dev/null | grep -q 'boolean true' && break; sleep 0.05; done\n";
}

}  // namespace zephyl::platform::testing
