// What the UI tells the library of the device, and the library's files on it (level 2). Main
// thread only.
#pragma once

#include "frame/answer.h"
#include "frame/command.h"
#include "frame/td_errors.h"
#include "frame/tdlib.h"

// Both work in every state: the library wants to know before the login, too.
void run_network(CommandCall& call, const TdClient& td);
void run_active(CommandCall& call, const TdClient& td);

void run_storage(const CommandCall& call, const TdClient& td);
void run_storage_clean(CommandCall& call, const TdClient& td);
// "storage"
void on_storage(Answer& answer);
// Cleaned: the figures are asked for.
void on_storage_cleaned(const TdClient& td);
