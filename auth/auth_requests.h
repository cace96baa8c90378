// The requests of the login, without their tags.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct TdlibParameters {
  bool use_test_dc = false;
  std::string database_directory;
  std::string files_directory;
  bool use_file_database = false;
  bool use_chat_info_database = false;
  bool use_message_database = false;
  bool use_secret_chats = false;
  std::int64_t api_id = 0;
  std::string api_hash;
};

std::string make_set_tdlib_parameters(const TdlibParameters& parameters);
std::string make_set_auth_phone_number(std::string_view phone);
std::string make_check_auth_code(std::string_view code);
std::string make_check_auth_password(std::string_view password);
std::string make_set_authentication_email_address(std::string_view address);
std::string make_check_authentication_email_code(std::string_view code);
std::string make_register_user(std::string_view first_name, std::string_view last_name);
std::string make_request_qr_code_authentication();
std::string make_set_option_bool(std::string_view name, bool value);
// `scope` is the full type name, "notificationSettingsScopePrivateChats" and its siblings.
std::string make_get_scope_notification_settings(std::string_view scope);
