// What the scripted library and the test say to each other over their socket.
//
// Every frame is one byte of kind, four bytes of length in host order, and that many bytes of
// text. The two sides take turns: the library reports, and after kAsk (and only then) it reads
// orders until one of them answers the receive call.
#pragma once

#include <cstdint>

// From the library.
constexpr char kLoaded = 'h';       // text: "armcap=<OPENSSL_armcap> zlib=<0|1>", at load time
constexpr char kCreated = 'c';      // text: the client id
constexpr char kSent = 's';         // text: "<client id> <request>"
constexpr char kVerbosity = 'v';    // text: the level
constexpr char kLogCallback = 'l';  // text: the maximum level, or "null" without a function
constexpr char kAsk = 'a';          // text: the timeout; receive now waits for an answer
constexpr char kReal = 'r';         // text: what the real library's receive gave
constexpr char kRealNone = 'n';     // the real library's receive gave nothing
constexpr char kOrderDone = 'd';    // an order that is no answer was carried out
constexpr char kUnwanted = 'x';     // text: an entry point that must never be called

// To the library. The first three answer the receive call.
constexpr char kObject = 'O';     // text: what receive returns
constexpr char kNothing = 'N';    // receive returns null
constexpr char kAskReal = 'G';    // receive returns what the real library's receive gives
constexpr char kLog = 'L';        // text: "<level> <message>", the callback on this thread
constexpr char kLogThread = 'T';  // the same on a thread of its own, joined before kOrderDone
constexpr char kLogFlood = 'M';   // text: "<threads> <lines>": that many threads and lines each
constexpr char kFault = 'F';      // text: the name of a fault, see standin.cpp
