#include "auth/auth_commands.h"
#include "auth/auth_level2.h"
#include "calls/call_commands.h"
#include "commands/chat_actions.h"
#include "commands/chat_info.h"
#include "commands/chat_list.h"
#include "commands/device.h"
#include "commands/download.h"
#include "commands/history.h"
#include "commands/message_actions.h"
#include "commands/mute.h"
#include "commands/pinned.h"
#include "commands/process.h"
#include "commands/resync.h"
#include "commands/search.h"
#include "commands/send.h"
#include "commands/thread.h"
#include "frame/memtest.h"
#include "proxy/proxy.h"
#include "tables/bind.h"
#include "tables/tables.h"

namespace {

constexpr Gate kOpen = Gate::kOpen;
constexpr Gate kReady = Gate::kReady;

// clang-format off
constexpr Command kCommands[] = {
    {"phone", "<number>", kOpen, command<run_phone>},
    {"code", "<code>", kOpen, command<run_code>},
    {"password", "<text>", kOpen, command<run_password>},
    {"ping", "", kOpen, command<run_ping>},
    {"proxy_get", "", kOpen, command<run_proxy_get>},
    {"proxy_disable", "", kOpen, command<run_proxy_disable>},
    {"proxy_remove", "<proxy_id>", kOpen, command<run_proxy_remove>},
    {"proxy_test_mtproto", "[seq] <server> <port> <secret>", kOpen, command<run_proxy_test_mtproto>},
    {"proxy_try_mtproto", "[seq] <server> <port> <secret>", kOpen, command<run_proxy_try_mtproto>},
    {"memtest", "[text]", kOpen, command<run_memtest>},
    {"params", "", kOpen, command<run_params>},
    {"state", "", kOpen, command<run_state>},
    {"resend", "", kOpen, command<run_resend>},
    {"call_start", "<user_id>", kReady, command<run_call_start>},
    {"call_accept", "<call_id>", kReady, command<run_call_accept>},
    {"call_mute", "<call_id> <0|1>", kReady, command<run_call_mute>},
    {"call_discard", "<call_id>", kReady, command<run_call_discard>},
    {"chats", "[limit]", kReady, command<run_chats>},
    {"resolve", "<username>", kReady, command<run_resolve>},
    {"search_server64", "<req_id> <base64_utf8_query> [limit]", kReady, command<run_search_server64>},
    {"open", "<chat_id> [anchor_message_id]", kReady, command<run_open>},
    {"close", "<chat_id>", kReady, command<run_close>},
    {"chat_info", "<chat_id>", kReady, command<run_chat_info>},
    {"user_info", "<user_id>", kReady, command<run_user_info>},
    {"open_user_chat", "<user_id>", kReady, command<run_open_user_chat>},
    {"chat_search64", "<req_id> <chat_id> <base64_utf8_query> [from_message_id] [limit]", kReady, command<run_chat_search64>},
    {"shared64", "<req_id> <chat_id> <kind> [from_message_id] [limit]", kReady, command<run_shared64>},
    {"pinned_list", "<chat_id> [limit]", kReady, command<run_pinned_list>},
    {"mute_toggle", "<chat_id>", kReady, command<run_mute_toggle>},
    {"clear_history", "<chat_id>", kReady, command<run_clear_history>},
    {"join", "<chat_id>", kReady, command<run_join>},
    {"read", "<chat_id> <message_id>", kReady, command<run_read>},
    {"leave", "<chat_id>", kReady, command<run_leave>},
    {"delete_chat", "<chat_id>", kReady, command<run_delete_chat>},
    {"download", "<file_id>", kReady, command<run_download>},
    {"downloadp", "<file_id>", kReady, command<run_downloadp>},
    {"history", "<chat_id> [limit]", kReady, command<run_history>},
    {"history_more", "<chat_id> <from_message_id> [limit]", kReady, command<run_history_more>},
    {"thread_open", "<channel_chat_id> <post_message_id> [limit]", kReady, command<run_thread_open>},
    {"thread_more", "<thread_chat_id> <message_thread_id> <from_message_id> [limit]", kReady, command<run_thread_more>},
    {"history_jump", "<chat_id> <message_id> [before] [after]", kReady, command<run_history_jump>},
    {"sendfile64", "<chat_id> [reply_to_message_id] <base64_utf8_path> [base64_utf8_caption]", kReady, command<run_sendfile64>},
    {"sendvoice64", "<chat_id> [reply_to_message_id] <base64_utf8_path> <duration_sec>", kReady, command<run_sendvoice64>},
    {"sendvideonote64", "<chat_id> [reply_to_message_id] <base64_utf8_path>", kReady, command<run_sendvideonote64>},
    {"forward", "<chat_id> <from_chat_id> <message_id...>", kReady, command<run_forward>},
    {"delete", "<chat_id> <self|all> <message_id...>", kReady, command<run_delete>},
    {"react", "<chat_id> <message_id> <emoji> <add|remove>", kReady, command<run_react>},
    {"pin", "<chat_id> <message_id> [disable_notification] [only_for_self]", kReady, command<run_pin>},
    {"props", "<chat_id> <message_id>", kReady, command<run_props>},
    {"preview", "<chat_id> <message_id>", kReady, command<run_preview>},
    {"edit64", "<chat_id> <message_id> <base64_utf8_text>", kReady, command<run_edit64>},
    {"send64", "<chat_id> [reply_to_message_id] <base64_utf8_text>", kReady, command<run_send64>},
    {"send", "<chat_id> <text>", kReady, command<run_send>},
    // Level 2.
    {"email", "<address>", kOpen, command<run_email>, 2},
    {"email_code", "<code>", kOpen, command<run_email_code>, 2},
    {"register64", "<base64_first_name> [base64_last_name]", kOpen, command<run_register64>, 2},
    {"qr", "", kOpen, command<run_qr>, 2},
    {"logout", "", kReady, command<run_logout>, 2},
    {"network", "<none|mobile|roaming|wifi|other>", kOpen, command<run_network>, 2},
    {"active", "<0|1>", kOpen, command<run_active>, 2},
    {"storage", "", kOpen, command<run_storage>, 2},
    {"storage_clean", "[max_bytes] [max_age_s]", kReady, command<run_storage_clean>, 2},
    {"resync", "", kOpen, command<run_resync>, 2},
    {"proxy_list", "", kOpen, command<run_proxy_list>, 2},
    {"proxy_enable", "<proxy_id>", kOpen, command<run_proxy_enable>, 2},
    {"chats_more", "[limit]", kReady, command<run_chats_more>, 2},
    {"history_newer", "<chat_id> <from_message_id> [limit]", kReady, command<run_history_newer>, 2},
    {"sendphoto64", "<chat_id> [reply_to_message_id] <base64_utf8_path> [base64_utf8_caption]", kReady, command<run_sendphoto64>, 2},
    {"sendvideo64", "<chat_id> [reply_to_message_id] <base64_utf8_path> [base64_utf8_caption]", kReady, command<run_sendvideo64>, 2},
    {"send_again", "<chat_id> <message_id...>", kReady, command<run_send_again>, 2},
    {"cancel", "<file_id>", kReady, command<run_cancel>, 2},
};
// clang-format on

}  // namespace

Table<Command> command_table() { return {kCommands, sizeof kCommands / sizeof *kCommands}; }
