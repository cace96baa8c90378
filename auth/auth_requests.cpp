#include "auth/auth_requests.h"

#include "json/text.h"

std::string make_set_tdlib_parameters(const TdlibParameters& parameters) {
  std::string request = "{\"@type\":\"setTdlibParameters\"";
  append_bool_member(request, "use_test_dc", parameters.use_test_dc);
  append_string_member(request, "database_directory", parameters.database_directory);
  append_string_member(request, "files_directory", parameters.files_directory);
  append_string_member(request, "database_encryption_key", "");
  append_bool_member(request, "use_file_database", parameters.use_file_database);
  append_bool_member(request, "use_chat_info_database", parameters.use_chat_info_database);
  append_bool_member(request, "use_message_database", parameters.use_message_database);
  append_bool_member(request, "use_secret_chats", parameters.use_secret_chats);
  append_int_member(request, "api_id", parameters.api_id);
  append_string_member(request, "api_hash", parameters.api_hash);
  request +=
      ",\"system_language_code\":\"en\",\"device_model\":\"BB10\",\"system_version\":\"10.3\","
      "\"application_version\":\"0.0.1\",\"enable_storage_optimizer\":true,"
      "\"ignore_file_names\":false}";
  return request;
}

std::string make_set_auth_phone_number(std::string_view phone) {
  std::string request = "{\"@type\":\"setAuthenticationPhoneNumber\"";
  append_string_member(request, "phone_number", phone);
  request +=
      ",\"settings\":{\"@type\":\"phoneNumberAuthenticationSettings\",\"allow_flash_call\":false,"
      "\"allow_missed_call\":false,\"is_current_phone_number\":false,"
      "\"allow_sms_retriever_api\":false}}";
  return request;
}

std::string make_check_auth_code(std::string_view code) {
  std::string request = "{\"@type\":\"checkAuthenticationCode\"";
  append_string_member(request, "code", code);
  request += '}';
  return request;
}

std::string make_check_auth_password(std::string_view password) {
  std::string request = "{\"@type\":\"checkAuthenticationPassword\"";
  append_string_member(request, "password", password);
  request += '}';
  return request;
}

std::string make_set_authentication_email_address(std::string_view address) {
  std::string request = "{\"@type\":\"setAuthenticationEmailAddress\"";
  append_string_member(request, "email_address", address);
  request += '}';
  return request;
}

std::string make_check_authentication_email_code(std::string_view code) {
  std::string request =
      "{\"@type\":\"checkAuthenticationEmailCode\","
      "\"code\":{\"@type\":\"emailAddressAuthenticationCode\"";
  append_string_member(request, "code", code);
  request += "}}";
  return request;
}

std::string make_register_user(std::string_view first_name, std::string_view last_name) {
  std::string request = "{\"@type\":\"registerUser\"";
  append_string_member(request, "first_name", first_name);
  append_string_member(request, "last_name", last_name);
  request += ",\"disable_notification\":false}";
  return request;
}

std::string make_request_qr_code_authentication() {
  return "{\"@type\":\"requestQrCodeAuthentication\",\"other_user_ids\":[]}";
}

std::string make_set_option_bool(std::string_view name, bool value) {
  std::string request = "{\"@type\":\"setOption\"";
  append_string_member(request, "name", name);
  request += ",\"value\":{\"@type\":\"optionValueBoolean\"";
  append_bool_member(request, "value", value);
  request += "}}";
  return request;
}

std::string make_get_scope_notification_settings(std::string_view scope) {
  std::string request = "{\"@type\":\"getScopeNotificationSettings\",\"scope\":{\"@type\":\"";
  append_json_escaped(request, scope);
  request += "\"}}";
  return request;
}
