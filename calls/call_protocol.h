// The call protocol that this program offers to TDLib. Main thread only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct CallProtocolSpec {
  bool udp_p2p = true;
  bool udp_reflector = true;
  std::int32_t min_layer = 65;  // offered as it is, even above max_layer
  std::int32_t max_layer = 92;
  std::vector<std::string> library_versions{"libtgvoip"};  // never empty
};

// The defaults with what the environment says now. The first call of the process also logs what
// the environment asks for.
CallProtocolSpec get_call_protocol_spec();
// The "callProtocol" object of a request.
std::string make_call_protocol(const CallProtocolSpec& spec = get_call_protocol_spec());

// "[a,b]" for log lines; a long list ends in ",...]".
std::string call_versions_for_log(const std::vector<std::string>& versions);
// "min_layer=<n> max_layer=<n> versions=[...]"
std::string call_protocol_summary_for_log(const CallProtocolSpec& spec);
