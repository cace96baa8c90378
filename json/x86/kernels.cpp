#include "json/x86/kernels.h"

#include "json/kernels.h"
#include "json/search.h"

std::vector<TextKernels> text_kernels() {
  std::vector<TextKernels> kernels = {
      {"in use", find_bytes, find_string_end, skip_to_close, find_escaped_byte},
      {"plain", find_bytes_plain, find_string_end_plain, skip_to_close_plain,
       find_escaped_byte_plain},
      {"sse2", find_bytes_sse2, find_string_end_sse2, skip_to_close_sse2, find_escaped_byte},
  };
  const auto add = [&kernels](const char* name, decltype(&skip_to_close) skip) {
    kernels.push_back({name, find_bytes, find_string_end, skip, find_escaped_byte});
  };
  if (has_avx2()) add("avx2", skip_to_close_avx2);
  if (has_avx512()) add("avx512", skip_to_close_avx512);
  return kernels;
}
