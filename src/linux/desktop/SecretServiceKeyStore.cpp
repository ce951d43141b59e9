#include "linux/desktop/SecretServiceKeyStore.h"

#include <libsecret/secret.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace quorvex {
namespace {

constexpr std::chrono::seconds kPatience{2};

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using Ref = std::unique_ptr<T, Unref>;

struct FreeItems {
  void operator()(GList* list) const { g_list_free_full(list, g_object_unref); }
};
struct FreeTable {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};

/// Ends a call that the service leaves without an answer.
class Deadline {
 public:
  Deadline()
      : cancellable(g_cancellable_new()), waiting([this](const std::stop_token& stop) {
          std::unique_lock hold(mutex);
          if (!ended.wait_for(hold, stop, kPatience, [] { return false; }) &&
              !stop.stop_requested())
            g_cancellable_cancel(cancellable.get());
        }) {}

  [[nodiscard]] GCancellable* get() const { return cancellable.get(); }

 private:
  const Ref<GCancellable> cancellable;
  std::mutex mutex;
  std::condition_variable_any ended;
  std::jthread waiting;
};

const SecretSchema& schema() {
  static const SecretSchema it = {"com.tessaly.quorvexcamera",
                                  SECRET_SCHEMA_NONE,
                                  {{"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                   {"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                   {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                  0,
                                  nullptr,
                                  nullptr,
                                  nullptr,
                                  nullptr,
                                  nullptr,
                                  nullptr,
                                  nullptr};
  return it;
}

std::unique_ptr<GHashTable, FreeTable> attributesOf(const std::string& account,
                                                    const std::string& keptFor) {
  return std::unique_ptr<GHashTable, FreeTable>(secret_attributes_build(
      &schema(), "account", account.c_str(), "service", keptFor.c_str(), nullptr));
}

/// kNoError when secrets can be had and kept.
OSStatus open(const Deadline& deadline, Ref<SecretService>* service,
              Ref<SecretCollection>* collection) {
  service->reset(secret_service_get_sync(SECRET_SERVICE_OPEN_SESSION, deadline.get(), nullptr));
  if (!*service) return errSecNotAvailable;
  collection->reset(secret_collection_for_alias_sync(
      service->get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, deadline.get(), nullptr));
  if (!*collection) return errSecNotAvailable;
  return secret_collection_get_locked(collection->get()) ? errSecInteractionNotAllowed : kNoError;
}

}  // namespace

SecretServiceKeyStore::SecretServiceKeyStore(std::string keptFor,
                                             std::function<void(std::string_view)> logLine)
    : owner(std::move(keptFor)), log(std::move(logLine)) {}

void SecretServiceKeyStore::complain(OSStatus status, const char* consequence) const {
  log(std::string("auth: the key store ") +
      (status == errSecNotAvailable            ? "cannot be reached (is a Secret Service running?)"
       : status == errSecInteractionNotAllowed ? "is locked (unlock the login keyring)"
                                               : "cannot be changed (is its disk full?)") +
      consequence);
}

OSStatus SecretServiceKeyStore::SecItemCopyMatching(const std::string& account, std::string* data) {
  finish();
  const Deadline deadline;
  Ref<SecretService> service;
  Ref<SecretCollection> collection;
  if (const OSStatus status = open(deadline, &service, &collection); status != kNoError)
    return status;
  GError* error = nullptr;
  const std::unique_ptr<GList, FreeItems> items(
      secret_collection_search_sync(collection.get(), &schema(), attributesOf(account, owner).get(),
                                    SECRET_SEARCH_LOAD_SECRETS, deadline.get(), &error));
  if (error) {
    g_error_free(error);
    return errSecAuthFailed;
  }
  if (!items) return errSecItemNotFound;
  SecretValue* value = secret_item_get_secret(SECRET_ITEM(items->data));
  if (!value) return errSecInteractionNotAllowed;
  gsize size = 0;
  const gchar* bytes = secret_value_get(value, &size);
  data->assign(bytes, size);
  secret_value_unref(value);
  return kNoError;
}

OSStatus SecretServiceKeyStore::SecItemAdd(const std::string& account, const std::string& data) {
  finish();
  const Deadline deadline;
  Ref<SecretService> service;
  Ref<SecretCollection> collection;
  OSStatus status = open(deadline, &service, &collection);
  if (status == kNoError) {
    SecretValue* value =
        secret_value_new(data.data(), static_cast<gssize>(data.size()), "text/plain");
    const Ref<SecretItem> item(secret_item_create_sync(
        collection.get(), &schema(), attributesOf(account, owner).get(), "Quorvex Camera sign-in",
        value, SECRET_ITEM_CREATE_REPLACE, deadline.get(), nullptr));
    secret_value_unref(value);
    if (!item) status = errSecAuthFailed;
  }
  if (status != kNoError) complain(status, "; this sign-in lasts until the program ends");
  return status;
}

OSStatus SecretServiceKeyStore::SecItemDelete(const std::string& account) {
  std::lock_guard hold(mutex);
  removal = std::async(std::launch::async, [this, account] { remove(account); });
  return kNoError;
}

void SecretServiceKeyStore::finish() {
  std::lock_guard hold(mutex);
  if (removal.valid()) removal.wait();
}

void SecretServiceKeyStore::remove(const std::string& account) const {
  const Deadline deadline;
  Ref<SecretService> service;
  Ref<SecretCollection> collection;
  OSStatus status = open(deadline, &service, &collection);
  if (status == kNoError) {
    GError* error = nullptr;
    secret_service_clear_sync(service.get(), &schema(), attributesOf(account, owner).get(),
                              deadline.get(), &error);
    if (error) status = errSecAuthFailed;
    g_clear_error(&error);
  }
  if (status != kNoError) complain(status, "; a sign-in that it holds stays there");
}

}  // namespace quorvex
