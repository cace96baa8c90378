#include "commands/searches.h"

#include <iterator>

void begin_public_search(Searches& searches, std::int64_t req, unsigned limit) {
  PublicSearch& search = searches.in_public[req];
  if (search.waiting) ++search.superseded;
  search.waiting = true;
  search.limit = limit;
  search.outstanding.clear();
}

PublicSearch* take_public_answer(Searches& searches, std::int64_t req) {
  const auto found = searches.in_public.find(req);
  if (found == searches.in_public.end() || !found->second.waiting) return nullptr;
  PublicSearch& search = found->second;
  if (search.superseded > 0) {
    --search.superseded;
    return nullptr;
  }
  search.waiting = false;
  return &search;
}

bool take_followed_chat(Searches& searches, std::int64_t req, std::uint64_t idx,
                        std::int64_t chat_id) {
  const auto found = searches.in_public.find(req);
  return found != searches.in_public.end() && found->second.outstanding.erase({idx, chat_id}) != 0;
}

bool finish_public_search(Searches& searches, std::int64_t req) {
  const auto found = searches.in_public.find(req);
  if (found == searches.in_public.end()) return false;
  if (found->second.waiting || !found->second.outstanding.empty()) return false;
  searches.in_public.erase(found);
  return true;
}

void begin_chat_search(Searches& searches, std::int64_t req, std::int64_t chat_id) {
  ChatSearch& search = searches.in_chat[req];
  if (search.chat_id != 0) ++search.superseded[search.chat_id];
  search.chat_id = chat_id;
}

bool take_chat_answer(Searches& searches, std::int64_t req, std::int64_t chat_id) {
  const auto found = searches.in_chat.find(req);
  if (found == searches.in_chat.end()) return false;
  ChatSearch& search = found->second;
  const auto older = search.superseded.find(chat_id);
  const bool present = older == search.superseded.end() && search.chat_id == chat_id;
  if (older != search.superseded.end() && --older->second == 0) search.superseded.erase(older);
  if (present) search.chat_id = 0;
  if (search.chat_id == 0 && search.superseded.empty()) searches.in_chat.erase(found);
  return present;
}

void begin_shared_series(Searches& searches, std::string_view fields) {
  constexpr std::size_t kRemembered = 1024;
  if (searches.shared_over >= kRemembered) {
    for (auto it = searches.shared.begin(); it != searches.shared.end();) {
      it = it->second == 0 ? searches.shared.erase(it) : std::next(it);
    }
    searches.shared_over = 0;
  }
  const auto [series, is_new] = searches.shared.try_emplace(std::string(fields), 0);
  if (!is_new && series->second == 0) --searches.shared_over;
  ++series->second;
}

bool take_shared_answer(Searches& searches, std::string_view fields) {
  const auto found = searches.shared.find(std::string(fields));
  if (found == searches.shared.end()) return true;
  if (found->second == 0) return false;
  if (--found->second == 0) ++searches.shared_over;
  return true;
}
