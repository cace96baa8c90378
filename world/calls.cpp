// Calls: ringing, answered, ended. Nothing is said in them.
#include <algorithm>

#include "world/requests.h"
#include "world/schema.h"

namespace world {

static constexpr double kRingSeconds = 3;     // until the other side takes the phone
static constexpr double kMissedSeconds = 30;  // until a call that nobody takes is over

static std::string state_text(const Call& call) {
  static const Shape pending("callStatePending", "is_created=true is_received=true");
  static const Shape keys("callStateExchangingKeys", "");
  static const Shape ready("callStateReady",
                           "protocol.udp_p2p=true protocol.udp_reflector=true "
                           "protocol.min_layer=65 protocol.max_layer=92 "
                           "protocol.library_versions=['9.0.0'] servers config='{}' "
                           "encryption_key='AAECAwQFBgc=' emojis allow_p2p=true");
  static const Shape server(
      "callServer", "id=1 ip_address='192.0.2.1' port=443 type=@callServerTypeTelegramReflector");
  static const Shape hanging("callStateHangingUp", "");
  static const Shape discarded("callStateDiscarded", "reason");
  const std::string_view state = call.state;
  if (state == "pending") return pending.text({});
  if (state == "keys") return keys.text({});
  if (state == "hanging") return hanging.text({});
  if (state == "discarded") return discarded.text({"{\"@type\":\"" + call.reason + "\"}"});
  return ready.text({"[" + server.text({}) + "]",
                     "[\"\\ud83d\\udc36\",\"\\ud83c\\udf33\",\"\\u2600\",\"\\ud83c\\udf4b\"]"});
}

static void tell_call(const Call& call) {
  static const Shape update("updateCall", "call");
  static const Shape shape("call", "id unique_id user_id is_outgoing is_video state");
  tell_person(call.user);
  tell(update.text({shape.text(
      {call.id, call.id * 1000003, call.user, call.outgoing, call.video, state_text(call)})}));
}

static Call* find_call(Id id) {
  const auto found = g_world.calls.find(id);
  return found == g_world.calls.end() ? nullptr : &found->second;
}

static void enter(Call& call, const char* state) {
  call.state = state;
  tell_call(call);
}

static void end(Call& call, const char* reason) {
  call.reason = reason;
  enter(call, "discarded");
  Chat* chat = find_chat(call.user);
  Message note;
  note.sender = call.outgoing ? kMe : call.user;
  note.outgoing = call.outgoing;
  note.content = content_row("messageCall");
  note.seconds = call.since != 0 ? std::max<Id>(date_now() - call.since, 0) : 0;
  note.text = reason;
  g_world.calls.erase(call.id);
  if (chat == nullptr) return;
  tell_chat(*chat);
  tell_new_message(*chat, append_message(*chat, note));
}

static void connect(Id id) {
  Call* call = find_call(id);
  if (call == nullptr || std::string_view(call->state) != "keys") return;
  call->since = date_now();
  enter(*call, "ready");
}

static void be_missed(Id id) {
  Call* call = find_call(id);
  if (call != nullptr && std::string_view(call->state) == "pending")
    end(*call, "callDiscardReasonMissed");
}

Id begin_call(Id user, bool outgoing, bool video) {
  static Id last = 0;
  Call& call = g_world.calls[++last];
  call.id = last;
  call.user = user;
  call.outgoing = outgoing;
  call.video = video;
  enter(call, "pending");
  const Id id = last;
  if (outgoing) {
    later(kRingSeconds, [id] {
      Call* mine = find_call(id);
      if (mine == nullptr || std::string_view(mine->state) != "pending") return;
      enter(*mine, "keys");
      later(0.3, [id] { connect(id); });
    });
  }
  later(kMissedSeconds, [id] { be_missed(id); });
  return id;
}

static std::string check_protocol(const Json& request) {
  const Json& protocol = request["protocol"];
  if (protocol.kind == Json::kNull) return error_text(400, "Call protocol must be non-empty");
  if (protocol.number("min_layer") < 1 ||
      protocol.number("max_layer") < protocol.number("min_layer")) {
    return error_text(400, "CALL_PROTOCOL_LAYER_INVALID");
  }
  return {};
}

std::string create_call(const Json& request) {
  static const Shape shape("callId", "id");
  const Id user = request.number("user_id");
  if (!is_person(user) || g_world.told_people.count(user) == 0)
    return error_text(400, "User not found");
  const Person p = person(user);
  if (p.deleted || p.bot || user == kMe) return error_text(400, "USER_PRIVACY_RESTRICTED");
  std::string error = check_protocol(request);
  if (!error.empty()) return error;
  return shape.text({begin_call(user, true, request.boolean("is_video"))});
}

std::string accept_call(const Json& request) {
  Call* call = find_call(request.number("call_id"));
  if (call == nullptr) return error_text(400, "Call not found");
  if (call->outgoing || std::string_view(call->state) != "pending")
    return error_text(400, "Unexpected acceptCall");
  std::string error = check_protocol(request);
  if (!error.empty()) return error;
  enter(*call, "keys");
  const Id id = call->id;
  later(0.3, [id] { connect(id); });
  return ok_text();
}

std::string discard_call(const Json& request) {
  Call* call = find_call(request.number("call_id"));
  if (call == nullptr) return error_text(400, "Call not found");
  const bool talking = std::string_view(call->state) == "ready";
  const bool taken = talking || call->outgoing;
  enter(*call, "hanging");
  end(*call, request.boolean("is_disconnected") ? "callDiscardReasonDisconnected"
             : taken                            ? "callDiscardReasonHungUp"
                                                : "callDiscardReasonDeclined");
  return ok_text();
}

std::string send_signaling(const Json& request) {
  static const Shape shape("updateNewCallSignalingData", "call_id data");
  Call* call = find_call(request.number("call_id"));
  if (call == nullptr) return error_text(400, "Call not found");
  tell(shape.text({call->id, request.string("data")}));
  return ok_text();
}

}  // namespace world
