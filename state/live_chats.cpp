#include "frame/answer.h"
#include "state/chat_requests.h"
#include "state/chats.h"

void ensure_chat_known(ChatTable& table, const TdClient& td, std::int64_t chat_id) {
  if (chat_id == 0) return;
  Chat& chat = chat_record(table, chat_id);
  if (chat.row_written || chat.fetch_pending || chat.is_member == false) return;
  if (!table.loads.empty()) {
    if (!chat.fetch_missed) table.missed.push_back(chat_id);
    chat.fetch_missed = true;
    return;
  }
  chat.fetch_pending = true;
  td_request(td, make_get_chat(chat_id), make_tag("liveGetChat", chat_id));
}
