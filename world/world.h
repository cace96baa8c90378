// The world's state: people, chats, messages, files, and what the client has been told of them.
// People and most messages are not stored: they follow from the seed and their number, and only
// what differs from that is kept. All of it is guarded by the lock in library.cpp, which holds it
// around every request and every moment of life.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "json/text.h"
#include "world/json_in.h"
#include "world/schema.h"

namespace world {

using Id = std::int64_t;

constexpr Id kMe = 1001;  // people are kMe + n
constexpr Id kAnn = kMe + 2;
constexpr int kFirstChats = 24;  // those with a part to play
constexpr int kMessageShift = 20;
constexpr Id kFirstDate = 1793491200;  // what the world's clock shows at the start

constexpr Id message_id(Id index) { return (index + 1) << kMessageShift; }
constexpr Id message_index(Id id) { return (id >> kMessageShift) - 1; }
constexpr bool is_sent_id(Id id) { return (id & ((Id{1} << kMessageShift) - 1)) == 0; }

struct Reaction {
  std::string emoji;
  int count = 0;
  bool chosen = false;
};

struct Message {
  Id id = 0;  // 0: there is no such message
  Id chat = 0;
  Id sender = 0;  // a person, or a chat when below 0
  Id date = 0;
  Id edit_date = 0;
  int content = 0;         // row of the content table
  std::uint64_t dice = 0;  // what else is random about it
  std::string text;        // or the caption
  bool outgoing = false;
  bool mention = false;
  Id reply_to = 0;
  Id reply_chat = 0;  // 0: the same chat
  std::string quote;
  Id forward_from = 0;  // a person, or a chat when below 0; 0: not forwarded
  Id forward_message = 0;
  Id thread = 0;    // id of the message that the thread begins with
  int topic = 0;    // of a forum
  Id file = 0;      // id of the main file; 0: none, or not yet named
  Id seconds = -1;  // of a call that was made, whose text is why it ended; below 0: none was
  std::vector<Reaction> reactions;
  std::string sending;  // the sending state object; empty when it is sent
  bool failed = false;

  bool is_text() const { return content == 0; }
};

// From kBasic on several people write, from kSuper on there is a supergroup.
enum class ChatKind { kPrivate, kBot, kDeleted, kSecret, kBasic, kSuper, kForum, kChannel };
enum class Standing { kMember, kAdministrator, kOwner, kLeft, kBanned };
constexpr bool is_outside(Standing s) { return s >= Standing::kLeft; }

// How a chat was at the beginning, which decides who wrote what there is.
struct Role {
  const char* title = "";  // of the first groups; the others are named after places
  ChatKind kind = ChatKind::kPrivate;
  int messages = 0;
  int members = 0;
  Standing standing = Standing::kMember;
  int unread = 0;
  const char* traits = "";  // "pinned muted archived slow gallery linked public named"
};

// What has been changed in a chat since the beginning.
struct Changes {
  std::map<Id, Message> messages;  // also those of the client's own that are not sent yet
  std::set<Id> gone;
  std::set<Id> pins;
};

struct Chat {
  Id id = 0;
  int number = 0;
  Role role;
  ChatKind kind = ChatKind::kPrivate;
  Standing standing = Standing::kMember;
  int members = 0;
  Id peer = 0;                      // the person, or the group's own id
  std::vector<std::int32_t> dates;  // of those that came since
  Id last_read_inbox = 0;
  Id last_read_outbox = 0;
  int unread = 0;
  int mentions = 0;
  int told_mentions = 0;
  int mute_for = 0;
  bool default_mute = true;
  bool archived = false;
  bool listed = true;  // in a chat list, when it has messages
  bool told = false;   // the client has had updateNewChat
  bool open = false;
  bool read_once = false;  // its history has been asked for
  int pinned = 0;          // rank from the top, 1 the highest; 0: not pinned
  int local_ids = 0;       // given to messages that are not sent yet
  Id sent_last = 0;        // date, for slow mode
  Id cleared = 0;          // everything up to this id is gone
  Id order = 0;            // its place in the list, as told last; 0: none
  std::unique_ptr<Changes> changes;

  bool is_group() const { return kind >= ChatKind::kBasic; }
  bool is_super() const { return kind >= ChatKind::kSuper; }
  bool is_channel() const { return kind == ChatKind::kChannel; }
  bool is_outside() const { return world::is_outside(standing); }  // the account is no member
  bool is_ruled() const {  // the account has an administrator's rights
    return standing == Standing::kOwner || standing == Standing::kAdministrator;
  }
  bool has(std::string_view trait) const {
    return std::string_view(role.traits).find(trait) != std::string_view::npos;
  }
};

struct Person {
  std::string first_name;
  std::string last_name;
  std::string username;
  std::string phone;
  bool bot = false;
  bool deleted = false;
  int photo = 0;  // which of theirs is shown, 1 to 3; 0: none
  bool online = false;
  Id seen = 0;  // when they were last online; 0: they do not say
};

struct Settings {
  std::uint64_t seed = 1;
  int chats = 40;
  double rate = 0.5;
  double speed = 1;
  std::string login = "phone";
  std::string faults;
};

struct World {
  Settings settings;
  std::vector<Chat> chats;
  std::unordered_map<Id, std::size_t> chat_numbers;
  std::set<std::pair<Id, Id>> list, archive;  // -order, chat
  std::unordered_map<Id, Person> changed_people;
  std::set<Id> told_people;
  std::string database_directory;
  std::string files_directory;
  std::string connection = "connectionStateReady";
};
extern World g_world;

// Dice: a number that follows from two others, or from the seed and another.
std::uint64_t mix(std::uint64_t a, std::uint64_t b);
std::uint64_t dice_for(Id what);
// What they show: 0 to `sides` - 1.
constexpr int roll(std::uint64_t dice, int sides) {
  return static_cast<int>(dice % static_cast<unsigned>(sides));
}

// ---- library.cpp

double now();  // seconds of the world's clock since the start
Id date_now();
void tell(std::string text);  // an update
void tell(const char* shape, std::initializer_list<Value> values = {});
void happen_at(double time, std::function<void()> what);
void later(double seconds, std::function<void()> what);
std::string error_text(int code, std::string_view message);
std::string refuse(std::string_view message);  // error 400
void close_client();
void flood(Id count);
bool is_online();
void set_connection(std::string_view state);  // and tells it
void tell_connection(std::string_view state);
void come_online();  // step by step
void when_online(std::function<void()> what);

// ---- login.cpp

// A bit each, so that a request can name several.
enum Stage : unsigned {
  kParameters = 1,
  kPhone = 2,
  kCode = 4,
  kPassword = 8,
  kEmail = 16,
  kEmailCode = 32,
  kRegistration = 64,
  kOtherDevice = 128,
  kReady = 256,
  kLoggingOut = 512,
  kClosing = 1024,
  kClosed = 2048,
  kAnyStage = 4095,
  kWithParameters = kAnyStage - kParameters,
  kLoggingIn = kReady - 1 - kParameters,
};
Stage stage();
bool is_ready();
void begin_login();
void close_world();

// ---- requests.cpp

// What must be there before a request is answered; when it is not, the answer is an error.
enum Needs : unsigned {
  kNothing = 0,
  kChat = 1,       // "chat_id", of a chat that the client was told of
  kMessage = 2,    // "message_id" in it
  kReadable = 4,   // a chat from which the account is not banned
  kLimit = 8,      // a "limit" above 0
  kPage = 16,      // and "offset" and "from_message_id" that go with it
  kUser = 32,      // "user_id", of a person that the client was told of
  kWritable = 64,  // a chat in which the account may write
};

// A request, and what its row says that it needs.
struct Asked {
  const Json& json;
  Chat* chat = nullptr;
  Message message;
  Id user = 0;
};

// Answers with the text of an object, an error among them, or with nothing when all is done.
struct RequestRow {
  std::string_view request;
  unsigned needs;
  std::string (*answer)(Asked& asked);
  unsigned stages = kReady;
};
using Requests = std::vector<RequestRow>;
extern const Requests kCallRequests, kChatRequests, kFileRequests, kHistoryRequests, kListRequests,
    kLoginRequests, kPeopleRequests, kProxyRequests, kSendingRequests;

// The answer to a request that has its members.
std::string answer_request(const Json& request);
Chat* told_chat(Id id);  // null when the client has not been told of it
// Those of the request's "message_ids" that are in the chat.
std::vector<Message> asked_messages(const Asked& asked, const Chat& chat);

// ---- texts.cpp

// A sentence or a few, from a few words to a long one.
std::string some_text(std::uint64_t dice);
std::string some_answer(std::uint64_t dice, std::string_view to);
// {"@type":"formattedText",...} with the entities that TDLib would find.
std::string formatted_text(std::string_view text);
std::size_t utf16_length(std::string_view text);

// ---- people.cpp

Person person(Id id);
std::string person_name(Id id);
Id photo_key(Id person_id);  // of the small file; the large one has the next. 0: no photo
// One thing about the person is another now: presence, photo or name. Tells it.
void change_person(Id id, const Person& now);
std::string user_text(Id id);
std::string usernames_text(const std::string& name);  // empty when there is none
void tell_person(Id id);  // updateUser before the first object that names one
// The message sender, which is told if the client does not know it yet.
std::string sender_text(Id sender);

// ---- chats.cpp

void make_chats();
Chat* find_chat(Id id);
Chat* find_username(std::string_view username);
std::string chat_title(const Chat& chat);
std::string chat_text(Chat& chat);
std::string list_text(const Chat& chat);
std::string position_text(const Chat& chat);
Chat& linked_chat(const Chat& chat);  // of one with the trait "linked"
bool can_write(const Chat& chat);
std::string chat_photo_text(const Chat& chat);  // empty: none
void tell_chat(Chat& chat);  // updateNewChat before the first object that names it
void tell_last_message(Chat& chat);
void tell_last_message(Chat& chat, const std::string& message);  // whose text is known
void set_standing(Chat& chat, Standing standing);
Id slow_wait(const Chat& chat);  // seconds until the next message may be sent

// ---- lists.cpp

void place_chat(Chat& chat, bool tell);  // after its last message or its pin changed

// ---- messages.cpp

Message find_message(const Chat& chat, Id id);  // id 0 when there is none
Id sent_count(const Chat& chat);                // how many there ever were
Id previous_id(const Chat& chat, Id before);    // 0: none
Id next_id(const Chat& chat, Id after);
Id last_id(const Chat& chat);
std::vector<Id> newest_ids(const Chat& chat, std::size_t count);
bool is_pinned(const Chat& chat, Id id);
Changes& changes(Chat& chat);  // makes room for some
const Changes& changes(const Chat& chat);
Message& change_message(Chat& chat, Id id);  // the stored copy; the message exists
void count_unread(Chat& chat);               // sets what its read mark leaves, mentions too
// The thread that a message heads or stands in: the chat and the id of its first message; 0:
// none. That of a channel's post is in the group.
struct Thread {
  Chat* chat;
  Id root;
  bool headed;
};
Thread find_thread(const Chat& chat, const Message& message);
std::vector<Id> thread_ids(const Thread& thread);  // all that is in it, the oldest first
Id append_message(Chat& chat, Message message);    // stores it as the chat's next; tells nothing
// A new one of somebody else in the chat, with its updates.
void receive_message(Chat& chat, Id sender, std::string_view text, Id reply_to = 0);
void receive_next(Chat& chat);  // as the seed has it
void tell_new_message(Chat& chat, Id id);
void delete_messages(Chat& chat, const std::vector<Id>& ids);
void clear_history(Chat& chat);
void edit_message(Chat& chat, Id id, std::string_view text);
bool can_react(const Chat& chat, const Message& message);
// Somebody reacts, or the account itself, whose former reaction goes; "": nothing takes its place.
void react(Chat& chat, Id id, const std::string& emoji, bool own);
void read_inbox(Chat& chat, Id up_to);
void read_outbox(Chat& chat, Id up_to);

// ---- message_texts.cpp

std::string message_text(Chat& chat, const Message& message);
std::string message_text(Chat& chat, Id id);  // empty when there is none
std::string messages_text(Chat& chat, const std::vector<Id>& ids, std::size_t total);
std::string interaction_text(Chat& chat, const Message& message);
std::string reply_info_text(const std::vector<Id>& thread);

// ---- contents.cpp

int content_count();
std::string_view content_name(int row);  // "Photo"
int content_row(std::string_view name);
bool is_service(const Message& message);
int random_content(std::uint64_t dice);
std::string content_text(const Chat& chat, const Message& message);

// ---- files.cpp

std::string file_text(Id id);
// Of a file that follows from the seed and its key.
std::string file_text(Id key, int size, bool photo);
Id own_file(const std::string& path, int size);  // to be uploaded

// ---- calls.cpp

Id begin_call(Id user, bool outgoing);
bool is_called();  // there is a call that is not over

// ---- steering.cpp

struct Fault {
  enum Kind { kError, kLose, kLate, kTwice } kind = kError;
  std::string request;
  int code = 0;
  std::string message;
  double seconds = 0;
  int times = 1;
};
// What goes wrong with this request; null when nothing does.
const Fault* next_fault(std::string_view request);
// Does what the words of the text say and returns what it did.
std::string steer(std::string_view text);
// What WORLD_FAULTS says: the faults at once, the rest when the account is logged in.
void steer_from_start();

// ---- life.cpp

void begin_life();
void be_answered(Chat& chat, Id message);  // somebody answers what was written

}  // namespace world
