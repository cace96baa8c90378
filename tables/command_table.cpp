#include "auth/auth_commands.h"
#include "calls/call_commands.h"
#include "commands/chat_action_commands.h"
#include "commands/chat_find_commands.h"
#include "commands/chat_info_commands.h"
#include "commands/chat_list_commands.h"
#include "commands/download_commands.h"
#include "commands/file_send_commands.h"
#include "commands/history_commands.h"
#include "commands/message_actions.h"
#include "commands/mute_commands.h"
#include "commands/pinned_commands.h"
#include "commands/process_commands.h"
#include "commands/search_commands.h"
#include "commands/send_commands.h"
#include "commands/thread_commands.h"
#include "frame/memtest.h"
#include "proxy/proxy_commands.h"
#include "tables/tables.h"

namespace {

using R = Rooms;
using C = CommandCall;
constexpr Gate kOpen = Gate::kOpen;
constexpr Gate kReady = Gate::kReady;

// clang-format off
constexpr Command kCommands[] = {
    {"phone", "", kOpen, [](R& r, C& c) { run_phone(c, r.auth); }},
    {"code", "", kOpen, [](R& r, C& c) { run_code(c, r.auth); }},
    {"password", "", kOpen, [](R& r, C& c) { run_password(c, r.auth); }},
    {"ping", "", kOpen, [](R&, C&) { run_ping(); }},
    {"proxy_get", "", kOpen, [](R& r, C& c) { run_proxy_get(c, r.td); }},
    {"proxy_disable", "", kOpen, [](R& r, C& c) { run_proxy_disable(c, r.td); }},
    {"proxy_remove", "", kOpen, [](R& r, C& c) { run_proxy_remove(c, r.td); }},
    {"proxy_test_mtproto", "", kOpen, [](R& r, C& c) { run_proxy_test_mtproto(c, r.proxy, r.td); }},
    {"proxy_try_mtproto", "", kOpen, [](R& r, C& c) { run_proxy_try_mtproto(c, r.proxy, r.td); }},
    {"memtest", "", kOpen, [](R&, C& c) { run_memtest(c.args); }},
    {"params", "", kOpen, [](R& r, C& c) { run_params(c, r.auth); }},
    {"state", "", kOpen, [](R& r, C&) { run_state(r.auth); }},
    {"resend", "", kOpen, [](R& r, C& c) { run_resend(c, r.td); }},
    {"call_start", "", kReady, [](R& r, C& c) { run_call_start(c, r.td); }},
    {"call_accept", "", kReady, [](R& r, C& c) { run_call_accept(c, r.td); }},
    {"call_mute", "ERR usage call_mute <call_id> <0|1>", kReady, [](R&, C& c) { run_call_mute(c); }},
    {"call_discard", "", kReady, [](R& r, C& c) { run_call_discard(c, r.td); }},
    {"chats", "", kReady, [](R& r, C& c) { run_chats(c, r.chats, r.td); }},
    {"resolve", "ERR usage resolve <username>", kReady, [](R& r, C& c) { run_resolve(c, r.td); }},
    {"search_server64", "ERR usage search_server64 <req_id> <base64_utf8_query> [limit]", kReady, [](R& r, C& c) { run_search_server64(c, r.searches, r.td); }},
    {"open", "ERR usage open <chat_id> [anchor_message_id]", kReady, [](R& r, C& c) { run_open(c, r.history, r.pinned, r.open_chat, r.td); }},
    {"close", "ERR usage close <chat_id>", kReady, [](R& r, C& c) { run_close(c, r.history, r.open_chat, r.td); }},
    {"chat_info", "ERR usage chat_info <chat_id>", kReady, [](R& r, C& c) { run_chat_info(c, r.td); }},
    {"user_info", "ERR usage user_info <user_id>", kReady, [](R& r, C& c) { run_user_info(c, r.td); }},
    {"open_user_chat", "ERR usage open_user_chat <user_id>", kReady, [](R& r, C& c) { run_open_user_chat(c, r.chats, r.td); }},
    {"chat_search64", "ERR usage chat_search64 <req_id> <chat_id> <base64_utf8_query> [from_message_id] [limit]", kReady, [](R& r, C& c) { run_chat_search64(c, r.searches, r.td); }},
    {"shared64", "ERR usage shared64 <req_id> <chat_id> <kind> [from_message_id] [limit]", kReady, [](R& r, C& c) { run_shared64(c, r.td); }},
    {"pinned_list", "ERR usage pinned_list <chat_id> [limit]", kReady, [](R& r, C& c) { run_pinned_list(c, r.pinned, r.td); }},
    {"mute_toggle", "ERR usage mute_toggle <chat_id>", kReady, [](R& r, C& c) { run_mute_toggle(c, r.chats, r.td); }},
    {"clear_history", "ERR usage clear_history <chat_id>", kReady, [](R& r, C& c) { run_clear_history(c, r.td); }},
    {"join", "ERR usage join <chat_id>", kReady, [](R& r, C& c) { run_join(c, r.td); }},
    {"read", "ERR usage read <chat_id> <message_id>", kReady, [](R& r, C& c) { run_read(c, r.td); }},
    {"leave", "ERR usage leave <chat_id>", kReady, [](R& r, C& c) { run_leave(c, r.td); }},
    {"delete_chat", "ERR usage delete_chat <chat_id>", kReady, [](R& r, C& c) { run_delete_chat(c, r.chats, r.td); }},
    {"download", "ERR usage download <file_id>", kReady, [](R& r, C& c) { run_download(c, r.downloads, r.td); }},
    {"downloadp", "ERR usage downloadp <file_id>", kReady, [](R& r, C& c) { run_downloadp(c, r.downloads, r.td); }},
    {"history", "ERR usage history <chat_id> [limit]", kReady, [](R& r, C& c) { run_history(c, r.history, r.pinned, r.td); }},
    {"history_more", "ERR usage history_more <chat_id> <from_message_id> [limit]", kReady, [](R& r, C& c) { run_history_more(c, r.history, r.td); }},
    {"thread_open", "ERR usage thread_open <channel_chat_id> <post_message_id> [limit]", kReady, [](R& r, C& c) { run_thread_open(c, r.history, r.td); }},
    {"thread_more", "ERR usage thread_more <thread_chat_id> <message_thread_id> <from_message_id> [limit]", kReady, [](R& r, C& c) { run_thread_more(c, r.history, r.td); }},
    {"history_jump", "ERR usage history_jump <chat_id> <message_id> [before] [after]", kReady, [](R& r, C& c) { run_history_jump(c, r.history, r.td); }},
    {"sendfile64", "ERR usage sendfile64 <chat_id> [reply_to_message_id] <base64_utf8_path> [base64_utf8_caption]", kReady, [](R& r, C& c) { run_sendfile64(c, r.sends, r.td); }},
    {"sendvoice64", "ERR usage sendvoice64 <chat_id> [reply_to_message_id] <base64_utf8_path> <duration_sec>", kReady, [](R& r, C& c) { run_sendvoice64(c, r.sends, r.td); }},
    {"sendvideonote64", "ERR usage sendvideonote64 <chat_id> [reply_to_message_id] <base64_utf8_path>", kReady, [](R& r, C& c) { run_sendvideonote64(c, r.sends, r.td); }},
    {"forward", "ERR usage forward <chat_id> <from_chat_id> <message_id...>", kReady, [](R& r, C& c) { run_forward(c, r.td); }},
    {"delete", "ERR usage delete <chat_id> <self|all> <message_id...>", kReady, [](R& r, C& c) { run_delete(c, r.td); }},
    {"react", "ERR usage react <chat_id> <message_id> <emoji> <add|remove>", kReady, [](R& r, C& c) { run_react(c, r.td); }},
    {"pin", "ERR usage pin <chat_id> <message_id> [disable_notification] [only_for_self]", kReady, [](R& r, C& c) { run_pin(c, r.td); }},
    {"props", "ERR usage props <chat_id> <message_id>", kReady, [](R& r, C& c) { run_props(c, r.td); }},
    {"preview", "ERR usage preview <chat_id> <message_id>", kReady, [](R& r, C& c) { run_preview(c, r.td); }},
    {"edit64", "ERR usage edit64 <chat_id> <message_id> <base64_utf8_text>", kReady, [](R& r, C& c) { run_edit64(c, r.td); }},
    {"send64", "ERR usage send64 <chat_id> [reply_to_message_id] <base64_utf8_text>", kReady, [](R& r, C& c) { run_send64(c, r.sends, r.td); }},
    {"send", "ERR usage send <chat_id> <text>", kReady, [](R& r, C& c) { run_send(c, r.sends, r.td); }},
};
// clang-format on

}  // namespace

Table<Command> command_table() { return {kCommands, sizeof kCommands / sizeof *kCommands}; }
