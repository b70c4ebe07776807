// The commands of wavehost, each given the words after its name.
#pragma once

#include <string>
#include <vector>

#include "host/Arguments.h"
#include "host/Session.h"

using Words = std::vector<std::string>;

// True for a name the plug-in plays as a stream (http:// or https://, any letter case).
bool IsAddress(std::string name);
// Set "Stream Timeout" (for addresses) from --timeout SECONDS, when given; false when it is no number of seconds.
bool SetStreamTimeout(Session& s, const Arguments& a);
// Audio: open, info, decode.
int CommandOpen(Session& s, const Words& args);
int CommandInfo(Session& s, const Words& args);
int CommandDecode(Session& s, const Words& args);
// Sample rate and depth conversion into a new wave file, tags and sample positions carried over.
int CommandConvert(Session& s, const Words& args);
// Tags: show, write, delete.
int CommandTags(Session& s, const Words& args);
int CommandTag(Session& s, const Words& args);
int CommandUntag(Session& s, const Words& args);
// The tag editor window (Windows build; elsewhere it says so and returns 2).
int CommandEdit(Session& s, const Words& args);
// What the plug-in offers, and the tagging settings.
int CommandFormats(Session& s);
int CommandOptions(Session& s);
int CommandSettings(const Words& args);
