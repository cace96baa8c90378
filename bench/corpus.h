// Texts as TDLib 1.8.61 writes them, built by code and the same in every run: members in the
// schema's order, int64 quoted, absent members left out, non-ASCII as \uXXXX, "@extra" and then
// "@client_id" last.
#pragma once

#include <string>
#include <vector>

struct CorpusText {
  const char* name;
  std::string text;
};

// From about 100 bytes to 1 MiB, smallest kinds first. Built once.
const std::vector<CorpusText>& corpus();
// One of them; the name must exist.
const std::string& corpus_text(const char* name);

// A "messages" answer with `count` messages of every kind, tagged `extra` (no tag if empty).
std::string corpus_history_page(int count, const std::string& extra);
// One "message" object; `index` decides sender, content and everything optional.
std::string corpus_message(int index);
