#include "state/connection_state.h"

#include "frame/channels.h"
#include "json/scan.h"

void on_connection_state(std::string_view text) {
  static constexpr std::string_view kStates[][2] = {
      {"\"@type\":\"connectionStateReady\"", "ready"},
      {"\"@type\":\"connectionStateWaitingForNetwork\"", "waiting_for_network"},
      {"\"@type\":\"connectionStateConnecting\"", "connecting"},
      {"\"@type\":\"connectionStateConnectingToProxy\"", "connecting_to_proxy"},
      {"\"@type\":\"connectionStateUpdating\"", "updating"},
  };
  std::string_view word = "unknown";
  for (const auto& row : kStates) {
    if (!json_contains(text, row[0])) continue;
    word = row[1];
    break;
  }
  emit_event_type_state("connection_state", "state", word);
}
