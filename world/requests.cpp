// How a request is answered: looked up in the tables of the subjects, given what it names, refused
// when that is not there.
#include <unordered_map>

#include "world/world.h"

namespace world {

Chat* told_chat(Id id) {
  Chat* chat = find_chat(id);
  return chat != nullptr && chat->told ? chat : nullptr;
}

std::vector<Message> asked_messages(const Asked& asked, const Chat& chat) {
  std::vector<Message> messages;
  for (const Json& id : asked.json["message_ids"].items) {
    Message m = find_message(chat, id.number());
    if (m.id != 0) messages.push_back(std::move(m));
  }
  return messages;
}

static const RequestRow* find_row(std::string_view request) {
  static const auto rows = [] {
    std::unordered_map<std::string_view, const RequestRow*> all;
    for (const Requests* table :
         {&kCallRequests, &kChatRequests, &kFileRequests, &kHistoryRequests, &kListRequests,
          &kLoginRequests, &kPeopleRequests, &kProxyRequests, &kSendingRequests}) {
      for (const RequestRow& row : *table) all[row.request] = &row;
    }
    return all;
  }();
  const auto found = rows.find(request);
  return found == rows.end() ? nullptr : found->second;
}

// Fills in what the request names; the error when that is not as the row wants it.
static std::string look_up(Asked& asked, unsigned needs) {
  asked.chat = told_chat(asked.json.number("chat_id"));
  if ((needs & kMessage) != 0 && asked.chat != nullptr)
    asked.message = find_message(*asked.chat, asked.json.number("message_id"));
  asked.user = asked.json.number("user_id");
  const Id limit = asked.json.number("limit"), offset = asked.json.number("offset");
  const struct {
    unsigned needs;
    bool met;
    const char* otherwise;
  } conditions[] = {
      {kChat, asked.chat != nullptr, "Chat not found"},
      {kMessage, asked.message.id != 0, "Message not found"},
      {kUser, g_world.told_people.count(asked.user) != 0, "User not found"},
      {kLimit | kPage, limit > 0, "Parameter limit must be positive"},
      {kPage, offset <= 0, "Parameter offset must be non-positive"},
      {kPage, offset > -100, "Parameter offset must be greater than -100"},
      {kPage, offset == 0 || limit > -offset, "Parameter limit must be greater than -offset"},
      {kPage, asked.json.number("from_message_id") >= 0,
       "Invalid value of parameter from_message_id specified"},
      {kReadable, asked.chat == nullptr || asked.chat->standing != Standing::kBanned,
       "Can't access the chat"},
  };
  for (const auto& condition : conditions) {
    if ((needs & condition.needs) != 0 && !condition.met) return refuse(condition.otherwise);
  }
  if ((needs & kWritable) == 0 || can_write(*asked.chat)) return {};
  return refuse(asked.chat->kind == ChatKind::kDeleted ? "USER_DELETED"
                : asked.chat->is_channel() && asked.chat->standing != Standing::kBanned
                    ? "Need administrator rights in the channel chat"
                    : "Have no write access to the chat");
}

// Why there is no answer now: the row, if there is one, is of another stage of the login.
static std::string refuse_stage(const RequestRow* row, const std::string& type) {
  if (stage() == kParameters)
    return refuse("Initialization parameters are needed: call setTdlibParameters first");
  if (row == nullptr && is_ready()) return refuse("The method is not part of this world");
  if (row == nullptr || row->stages == kReady) return error_text(401, "Unauthorized");
  if (row->stages == kParameters) return refuse("Unexpected setTdlibParameters");
  return refuse("Call to " + type + " unexpected");
}

std::string answer_request(const Json& request) {
  const RequestRow* row = find_row(request.type());
  if (row == nullptr || (row->stages & stage()) == 0)
    return refuse_stage(row, std::string(request.type()));
  Asked asked{request, nullptr, {}, 0};
  std::string answer = look_up(asked, row->needs);
  if (answer.empty()) answer = row->answer(asked);
  return answer.empty() ? object("ok") : answer;
}

}  // namespace world
