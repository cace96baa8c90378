// Calls: ringing, answered, ended. Nothing is said in them.
#include "world/world.h"

namespace world {

static constexpr double kRingSeconds = 3;  // until the other side takes the phone
static constexpr double kConnectSeconds = 0.3;
static constexpr double kMissedSeconds = 30;  // until a call that nobody takes is over

namespace {

struct Call {
  enum State { kPending, kExchangingKeys, kReady, kHangingUp, kDiscarded };
  Id id = 0;
  Id user = 0;
  bool outgoing = false;
  State state = kPending;
  std::string_view reason;  // why it is over
  Id since = 0;             // when the talk began; 0: it has not
};

}  // namespace

static std::map<Id, Call> g_calls;

// By Call::State.
static constexpr const char* kStates[] = {
    "callStatePending is_created=true is_received=true",
    "callStateExchangingKeys",
    "callStateReady protocol.udp_p2p=true protocol.udp_reflector=true protocol.min_layer=65 "
    "protocol.max_layer=92 protocol.library_versions=['9.0.0'] "
    "servers=[{'@type':'callServer','id':'1','ip_address':'192.0.2.1','ipv6_address':'',"
    "'port':443,'type':{'@type':'callServerTypeTelegramReflector','peer_tag':'','is_tcp':false}}] "
    "config='{}' encryption_key='AAECAwQFBgc=' emojis=['🐶','🌳','☀','🍋'] allow_p2p=true",
    "callStateHangingUp",
    "callStateDiscarded reason",
};

// Null when it is over.
static Call* find_call(Id id) {
  const auto found = g_calls.find(id);
  return found == g_calls.end() ? nullptr : &found->second;
}

static void enter_state(Call& call, Call::State state) {
  call.state = state;
  tell_person(call.user);
  tell("updateCall call.id call.unique_id call.user_id call.is_outgoing call.state",
       {call.id, call.id * 1000003, call.user, call.outgoing,
        object(kStates[state], {bare_object(call.reason)})});
}

static void end_call(Call& call, std::string_view reason) {
  call.reason = reason;
  enter_state(call, Call::kDiscarded);
  Chat* chat = find_chat(call.user);
  Message note;
  note.sender = call.outgoing ? kMe : call.user;
  note.outgoing = call.outgoing;
  note.content = content_row("Call");
  note.seconds = call.since != 0 ? std::max<Id>(date_now() - call.since, 0) : 0;
  note.text = reason;
  g_calls.erase(call.id);
  if (chat == nullptr) return;
  tell_chat(*chat);
  tell_new_message(*chat, append_message(*chat, note));
}

// Somebody has taken the phone.
static void connect(Call& call) {
  enter_state(call, Call::kExchangingKeys);
  later(kConnectSeconds, [id = call.id] {
    Call* taken = find_call(id);
    if (taken == nullptr) return;
    taken->since = date_now();
    enter_state(*taken, Call::kReady);
  });
}

bool is_called() { return !g_calls.empty(); }

Id begin_call(Id user, bool outgoing) {
  static Id last = 0;
  const Id id = ++last;
  Call& call = g_calls[id] = {id, user, outgoing, Call::kPending, {}, 0};
  enter_state(call, Call::kPending);
  later(outgoing ? kRingSeconds : kMissedSeconds, [id, outgoing] {
    Call* ringing = find_call(id);
    if (ringing == nullptr || ringing->state != Call::kPending) return;
    outgoing ? connect(*ringing) : end_call(*ringing, "callDiscardReasonMissed");
  });
  return id;
}

static std::string create_call(Asked& asked) {
  const Person p = person(asked.user);
  if (p.deleted || p.bot || asked.user == kMe) return refuse("USER_PRIVACY_RESTRICTED");
  return object("callId id", {begin_call(asked.user, true)});
}

static std::string accept_call(Asked& asked) {
  Call* call = find_call(asked.json.number("call_id"));
  if (call == nullptr) return refuse("Call not found");
  if (call->outgoing || call->state != Call::kPending) return refuse("Unexpected acceptCall");
  connect(*call);
  return {};
}

static std::string discard_call(Asked& asked) {
  Call* call = find_call(asked.json.number("call_id"));
  if (call == nullptr) return refuse("Call not found");
  const bool taken = call->outgoing || call->state == Call::kReady;
  enter_state(*call, Call::kHangingUp);
  end_call(*call, taken ? "callDiscardReasonHungUp" : "callDiscardReasonDeclined");
  return {};
}

const Requests kCallRequests = {
    {"createCall", kUser, create_call},
    {"acceptCall", kNothing, accept_call},
    {"discardCall", kNothing, discard_call},
};

}  // namespace world
