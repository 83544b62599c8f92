#include "platform/secret_service.h"

#include <libsecret/secret.h>

#include <cerrno>
#include <memory>

#include "platform/byte_text.h"
#include "platform/glib_holder.h"

namespace lumisk::secret_service {
namespace {

using ErrorHolder = std::unique_ptr<GError, Release<g_error_free>>;
using ItemHolder = std::unique_ptr<SecretItem, Release<g_object_unref>>;
using TableHolder = std::unique_ptr<GHashTable, Release<g_hash_table_unref>>;
using ValueHolder = std::unique_ptr<SecretValue, Release<secret_value_unref>>;

const SecretSchema* schema() {
  static const SecretSchema only = {"com.qelcorporation.lumisk",
                                    SECRET_SCHEMA_NONE,
                                    {{"acct", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                     {"desc", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                     {"labl", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                     {"svce", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                     {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                    0,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr,
                                    nullptr};
  return &only;
}

// The bus carries text only. Names of other bytes go as their hexadecimal form behind a prefix.
std::string asText(const std::string& bytes) {
  if (isValidUtf8(bytes) && bytes.find('\0') == std::string::npos && !bytes.starts_with("bytes:")) return bytes;
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "bytes:";
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

TableHolder tableOf(const Attributes& attributes) {
  TableHolder table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
  const auto add = [&](const char* key, const std::string& value) {
    if (!value.empty()) g_hash_table_insert(table.get(), g_strdup(key), g_strdup(asText(value).c_str()));
  };
  add("acct", attributes.acct);
  add("desc", attributes.desc);
  add("labl", attributes.labl);
  add("svce", attributes.svce);
  return table;
}

tl::unexpected<Error> failed(const char* operation, GError* error) {
  const ErrorHolder holder(error);
  return fail(operation, "the secret service", 0, error ? error->message : "no answer");
}

// The first item with the attributes, or null.
Result<ItemHolder> firstItem(const Attributes& attributes, SecretSearchFlags flags) {
  GError* error = nullptr;
  GList* found = secret_service_search_sync(nullptr, schema(), tableOf(attributes).get(), flags, nullptr, &error);
  if (error) return failed("look for a password", error);
  ItemHolder item;
  if (found) item.reset(SECRET_ITEM(g_object_ref(found->data)));
  g_list_free_full(found, g_object_unref);
  return item;
}

std::string secretOf(SecretItem* item) {
  const ValueHolder value(secret_item_get_secret(item));
  if (!value) return {};
  gsize length = 0;
  const char* bytes = secret_value_get(value.get(), &length);
  return {bytes, length};
}

ValueHolder valueOf(const std::string& secret) {
  return ValueHolder(secret_value_new(secret.data(), static_cast<gssize>(secret.size()), "text/plain"));
}

SecretSearchFlags flags(int which) {
  return static_cast<SecretSearchFlags>(which);
}

}  // namespace

Result<std::optional<std::string>> find(const Attributes& attributes) {
  LUMISK_TRY(const ItemHolder item, firstItem(attributes, flags(SECRET_SEARCH_UNLOCK | SECRET_SEARCH_LOAD_SECRETS)));
  if (!item || secret_item_get_locked(item.get())) return std::optional<std::string>();
  return std::optional<std::string>(secretOf(item.get()));
}

Result<bool> has(const Attributes& attributes) {
  LUMISK_TRY(const ItemHolder item, firstItem(attributes, flags(SECRET_SEARCH_NONE)));
  return item != nullptr;
}

Result<void> store(const Attributes& attributes, const std::string& title, const std::string& secret) {
  GError* error = nullptr;
  secret_service_store_sync(nullptr, schema(), tableOf(attributes).get(), SECRET_COLLECTION_DEFAULT,
                            displayText(title).c_str(), valueOf(secret).get(), nullptr, &error);
  if (error) return failed("keep a password", error);
  return {};
}

Result<void> change(const Attributes& attributes, const std::string& secret) {
  LUMISK_TRY(const ItemHolder item, firstItem(attributes, flags(SECRET_SEARCH_UNLOCK)));
  if (!item) return fail("change a password", "the secret service", ENOENT);
  GError* error = nullptr;
  secret_item_set_secret_sync(item.get(), valueOf(secret).get(), nullptr, &error);
  if (error) return failed("change a password", error);
  return {};
}

Result<void> remove(const Attributes& attributes) {
  LUMISK_TRY(const ItemHolder item, firstItem(attributes, flags(SECRET_SEARCH_UNLOCK)));
  if (!item) return fail("remove a password", "the secret service", ENOENT);
  GError* error = nullptr;
  secret_item_delete_sync(item.get(), nullptr, &error);
  if (error) return failed("remove a password", error);
  return {};
}

}  // namespace lumisk::secret_service
