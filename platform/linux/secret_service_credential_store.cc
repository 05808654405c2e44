#include "platform/linux/secret_service_credential_store.h"

#include <libsecret/secret.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "ai/credential_store_error.h"
#include "core/logger.h"

namespace zephyl::platform {
namespace {

using ai::CredentialStoreError;

constexpr core::Logger kLog("SecretServiceCredentialStore");

const SecretSchema* zephylSchema() {
  static const SecretSchema schema = {
      "com.zephyl.Zephyl.Credential",
      SECRET_SCHEMA_NONE,
      {{"name", SECRET_SCHEMA_ATTRIBUTE_STRING}, {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
      0,
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      nullptr};
  return &schema;
}

// What a libsecret call left behind; shared with its worker thread, which may
// outlive the caller when the call ignores cancellation.
struct CallState {
  std::mutex mutex;
  std::condition_variable done;
  bool finished = false;             // guarded by mutex
  std::optional<std::string> value;  // guarded by mutex
  std::string error;                 // guarded by mutex; empty: success
  GCancellable* cancellable = g_cancellable_new();
  ~CallState() { g_object_unref(cancellable); }
};

// The call returns a secret (or nothing) and sets a GError on failure.
using SecretCall = std::function<std::optional<std::string>(GCancellable*, GError**)>;

std::optional<std::string> callWithTimeout(const char* what, std::chrono::milliseconds timeout,
                                           SecretCall call) {
  auto state = std::make_shared<CallState>();
  std::thread worker([state, call = std::move(call)] {
    GError* error = nullptr;
    std::optional<std::string> value = call(state->cancellable, &error);
    std::lock_guard lock(state->mutex);
    if (error) {
      state->error = error->message ? error->message : "unknown error";
      g_error_free(error);
    } else {
      state->value = std::move(value);
    }
    state->finished = true;
    state->done.notify_all();
  });
  std::unique_lock lock(state->mutex);
  if (!state->done.wait_for(lock, timeout, [&] { return state->finished; })) {
    g_cancellable_cancel(state->cancellable);
    lock.unlock();
    // A call stuck in a prompt may not wake for the cancellation; it keeps its own state.
    worker.detach();
    kLog.warning() << "Secret Service " << what << " did not answer in " << timeout.count() << " ms";
    throw CredentialStoreError(CredentialStoreError::Code::kServiceUnavailable, "no answer in time");
  }
  lock.unlock();
  worker.join();
  if (!state->error.empty()) {
    kLog.warning() << "Secret Service " << what << " failed: " << state->error;
    throw CredentialStoreError(CredentialStoreError::Code::kServiceUnavailable, "");
  }
  return state->value;
}

}  // namespace

SecretServiceCredentialStore::SecretServiceCredentialStore(std::chrono::milliseconds timeout)
    : timeout_(timeout) {}

std::optional<std::string> SecretServiceCredentialStore::secret(const std::string& name) {
  return callWithTimeout("lookup", timeout_, [name](GCancellable* cancellable, GError** error) {
    gchar* found =
        secret_password_lookup_sync(zephylSchema(), cancellable, error, "name", name.c_str(), nullptr);
    if (!found) return std::optional<std::string>();
    std::optional<std::string> value(found);
    secret_password_free(found);
    return value;
  });
}

void SecretServiceCredentialStore::setSecret(const std::string& name, const std::string& value) {
  callWithTimeout("store", timeout_, [name, value](GCancellable* cancellable, GError** error) {
    const std::string label = "Zephyl: " + name;
    secret_password_store_sync(zephylSchema(), SECRET_COLLECTION_DEFAULT, label.c_str(), value.c_str(),
                               cancellable, error, "name", name.c_str(), nullptr);
    return std::optional<std::string>();
  });
  kLog.info() << "Stored the secret " << name;
}

void SecretServiceCredentialStore::removeSecret(const std::string& name) {
  callWithTimeout("clear", timeout_, [name](GCancellable* cancellable, GError** error) {
    secret_password_clear_sync(zephylSchema(), cancellable, error, "name", name.c_str(), nullptr);
    return std::optional<std::string>();
  });
  kLog.info() << "Removed the secret " << name;
}

}  // namespace zephyl::platform
