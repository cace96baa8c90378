#include "state/chat_loads.h"

#include <algorithm>
#include <utility>

#include "frame/channels.h"
#include "json/text.h"
#include "state/chat_requests.h"
#include "state/chat_rows.h"

static void emit_load_event(std::string_view type, std::int64_t gen) {
  std::string event = begin_event(type);
  append_int_member(event, "gen", gen);
  end_event(event);
}

static ChatListLoad* find_load(ChatTable& table, std::int64_t gen) {
  for (ChatListLoad& load : table.loads) {
    if (load.gen == gen) return &load;
  }
  return nullptr;
}

static bool owes_row(ChatTable& table, std::int64_t gen, std::int64_t chat_id) {
  const ChatListLoad* load = find_load(table, gen);
  return load != nullptr && load->owed.count(chat_id) != 0;
}

// Chats that updates named while the list was being loaded, and that it did not show.
static void fetch_missed_chats(ChatTable& table, const TdClient& td) {
  const std::vector<std::int64_t> missed = std::move(table.missed);
  table.missed.clear();
  for (const std::int64_t chat_id : missed) {
    chat_record(table, chat_id).fetch_missed = false;
    ensure_chat_known(table, td, chat_id);
  }
}

// The one place that ends loads.
static void end_if_complete(ChatTable& table, const TdClient& td, std::int64_t gen) {
  const ChatListLoad* load = find_load(table, gen);
  if (load == nullptr || !load->listed || !load->owed.empty()) return;
  table.loads.erase(table.loads.begin() + (load - table.loads.data()));
  emit_load_event("chats_end", gen);
  if (table.loads.empty()) fetch_missed_chats(table, td);
}

static void settle_row(ChatTable& table, const TdClient& td, std::int64_t gen,
                       std::int64_t chat_id) {
  ChatListLoad* load = find_load(table, gen);
  if (load == nullptr) return;
  load->owed.erase(chat_id);
  end_if_complete(table, td, gen);
}

std::int64_t begin_chat_load(ChatTable& table) {
  const std::int64_t gen = ++table.chat_list_gen;
  table.loads.push_back({gen, false, {}});
  emit_load_event("chats_begin", gen);
  return gen;
}

void list_chat_load(ChatTable& table, const TdClient& td, std::int64_t gen,
                    const std::vector<std::int64_t>& chat_ids) {
  ChatListLoad* load = find_load(table, gen);
  if (load == nullptr || load->listed) return;
  load->listed = true;
  for (const std::int64_t chat_id : chat_ids) {
    if (chat_id == 0 || !load->owed.insert(chat_id).second) continue;
    td_request(td, make_get_chat(chat_id), make_tag("getChat", chat_id, gen));
  }
  end_if_complete(table, td, gen);
}

// The row waits for the verdict; loads that wait for the same chat share one question.
static void check_member(ChatTable& table, const TdClient& td, std::int64_t gen,
                         ChatDescription row) {
  const auto [entry, asked] = table.member_checks.try_emplace(row.id);
  PendingChatMemberCheck& check = entry->second;
  const bool other_group = check.chat.group_id != row.group_id;
  check.chat = std::move(row);
  if (std::find(check.gens.begin(), check.gens.end(), gen) == check.gens.end()) {
    check.gens.push_back(gen);
  }
  if (asked || other_group) send_member_check(td, MemberFlow::kPaging, check.chat);
}

void take_list_chat(ChatTable& table, const TdClient& td, const Answer& answer) {
  std::string_view fields = answer.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  const std::int64_t gen = next_field_i64(fields);
  ChatDescription row;
  const bool described = take_chat_object(table, answer.text, chat_id, row);
  if (!owes_row(table, gen, chat_id)) return;
  if (described && row.group_id != 0) return check_member(table, td, gen, std::move(row));
  if (described) show_chat(table, row);
  settle_row(table, td, gen, chat_id);
}

void drop_list_chat(ChatTable& table, const TdClient& td, const TdError& error) {
  std::string_view fields = error.fields;
  const std::int64_t chat_id = next_field_i64(fields);
  settle_row(table, td, next_field_i64(fields), chat_id);
}

// Takes the check that the tag names out of the table; false when none is pending.
static bool end_check(ChatTable& table, const MemberTag& tag, PendingChatMemberCheck& check) {
  const auto found = table.member_checks.find(tag.chat_id);
  if (found == table.member_checks.end() || !is_check_of(tag, found->second.chat)) return false;
  check = std::move(found->second);
  table.member_checks.erase(found);
  return true;
}

static void show_in_loads(ChatTable& table, const TdClient& td,
                          const PendingChatMemberCheck& check) {
  for (const std::int64_t gen : check.gens) {
    show_chat(table, check.chat);
    settle_row(table, td, gen, check.chat.id);
  }
}

void take_member(ChatTable& table, const TdClient& td, const Answer& answer) {
  PendingChatMemberCheck check;
  if (!end_check(table, read_member_tag(answer.fields), check)) return;
  if (chat_member_status_is_member(group_status(answer.text))) {
    return show_in_loads(table, td, check);
  }
  hide_chat(table, check.chat, "not_member");
  for (const std::int64_t gen : check.gens) settle_row(table, td, gen, check.chat.id);
}

void take_member_error(ChatTable& table, const TdClient& td, const TdError& error) {
  PendingChatMemberCheck check;
  if (!end_check(table, read_member_tag(error.fields), check)) return;
  log_member_error(MemberFlow::kPaging, check.chat.id, error);
  show_in_loads(table, td, check);
}
