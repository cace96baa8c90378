#include "state/chat_loads.h"

#include <utility>

#include "frame/answer.h"
#include "frame/channels.h"
#include "frame/protocol.h"
#include "json/text.h"

static void emit_load_end(std::int64_t gen, bool has_more) {
  std::string event = begin_event("chats_end");
  append_int_member(event, "gen", gen);
  if (at_level2()) append_bool_member(event, "has_more", has_more);
  end_event(event);
}

std::int64_t command_of_load(const ChatTable& table, std::int64_t gen) {
  const auto found = table.loads.find(gen);
  return found == table.loads.end() ? 0 : found->second.hold.command();
}

bool owes_row(const ChatTable& table, std::int64_t gen, std::int64_t chat_id) {
  const auto found = table.loads.find(gen);
  return found != table.loads.end() && found->second.owed.count(chat_id) != 0;
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
  const auto found = table.loads.find(gen);
  if (found == table.loads.end() || !found->second.listed || !found->second.owed.empty()) return;
  const ChatListLoad ended = std::move(found->second);
  table.loads.erase(found);
  as_command(ended.hold.command(), [&] { emit_load_end(gen, ended.has_more); });
  // Asked for by what happened meanwhile, not by the command.
  if (table.loads.empty()) as_nobody([&] { fetch_missed_chats(table, td); });
}

void settle_row(ChatTable& table, const TdClient& td, std::int64_t gen, std::int64_t chat_id) {
  const auto found = table.loads.find(gen);
  if (found == table.loads.end()) return;
  found->second.owed.erase(chat_id);
  end_if_complete(table, td, gen);
}

std::int64_t begin_chat_load(ChatTable& table, LoadKind kind, std::int64_t limit) {
  const std::int64_t gen = ++table.chat_list_gen;
  ChatListLoad& load = table.loads[gen];
  load.hold = CommandHold::of_current();
  load.more = kind == LoadKind::kMore;
  load.limit = limit;
  if (!load.more) {
    table.chain = gen;
    table.chain_count = 0;
  }
  std::string event = begin_event("chats_begin");
  append_int_member(event, "gen", gen);
  if (load.more) append_bool_member(event, "more", true);
  end_event(event);
  return gen;
}

void note_all_chats_loaded(ChatTable& table, std::int64_t gen) {
  const auto found = table.loads.find(gen);
  if (found != table.loads.end()) found->second.all_loaded = true;
}

void list_chat_load(ChatTable& table, const TdClient& td, std::int64_t gen,
                    const std::vector<std::int64_t>& chat_ids) {
  const auto found = table.loads.find(gen);
  if (found == table.loads.end() || found->second.listed) return;
  ChatListLoad& load = found->second;
  load.listed = true;
  std::int64_t rows = 0;
  for (const std::int64_t chat_id : chat_ids) {
    if (chat_id == 0) continue;
    Chat& chat = chat_record(table, chat_id);
    const bool is_new = chat.chain != table.chain;
    if (load.more && is_new && rows == load.limit) {
      load.has_more = true;
      break;
    }
    chat.chain = table.chain;
    table.chain_count += is_new;
    if ((load.more && !is_new) || !load.owed.insert(chat_id).second) continue;
    ++rows;
    td_request(td, make_get_chat(chat_id), make_tag("getChat", chat_id, gen));
  }
  load.has_more = load.has_more || (rows >= load.limit && !load.all_loaded);
  end_if_complete(table, td, gen);
}
