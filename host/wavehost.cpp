// wavehost: drives the wave plug-in from a terminal exactly as the real host
// does, through its nine exports and nothing else.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/Commands.h"
#include "host/HostPlatform.h"

extern const char kUsage[] =
    "usage: wavehost [--plugin PATH] COMMAND ...\n"
    "FILE may also be an http:// or https:// address for open, info, decode, convert and tags;\n"
    "--timeout SECONDS bounds each wait for its server (Set \"Stream Timeout\").\n"
    "  open FILE [--trace] [--timeout SECONDS]\n"
    "                        open FILE as the host does and print the result;\n"
    "                        --trace prints the plug-in's trace log\n"
    "  info FILE [--json] [--trace] [--timeout SECONDS]\n"
    "                        format, length, bit rate, properties, tags and chunk map\n"
    "  decode FILE (-o OUT.wav | --null) [--range START:END] [--seek BLOCK] [--stats] [--trace]\n"
    "         [--timeout SECONDS]\n"
    "                        decode as the host does and write what it receives;\n"
    "                        START, END and BLOCK count blocks of the stored format;\n"
    "                        --stats reports bytes, seconds and throughput on stderr;\n"
    "                        a console shows the progress (of an address: bytes and rate)\n"
    "  convert FILE -o OUT.wav [--rate HZ] [--bits 8|16|24|32|float|double]\n"
    "          [--quality quick|low|medium|high|very-high] [--dither none|tpdf|shaped] [--seed N]\n"
    "          [--trace] [--timeout SECONDS]\n"
    "                        decode as the host does into a new wave file at another rate\n"
    "                        (1000 to 768000 Hz) and depth, with the tags; defaults: the\n"
    "                        source's rate and depth, quality high, dither tpdf when the\n"
    "                        output is integer and narrower than the source, else none;\n"
    "                        positions in samples (bext, cue, smpl, ltxt) follow the rate;\n"
    "                        OUT appears only when complete\n"
    "  tags FILE [--json] [--trace] [--timeout SECONDS]\n"
    "                        the tags as the host receives them; pictures and other\n"
    "                        binary tags as type, size and MIME type\n"
    "  formats               what the plug-in decodes (extensions and MIME types)\n"
    "  options               the tagging option pages, current choices marked *\n"
    "  tag FILE NAME=VALUE... [--picture IMAGE [--picture-type N] [--description TEXT]] [--trace]\n"
    "                        write tags (Set \"IDTags\"); the file's other tags stay;\n"
    "                        N is the picture type, 3 (front cover) when not given\n"
    "  untag FILE [NAME...] [--trace]\n"
    "                        delete the named tags, or every tag when none is named\n"
    "  settings [NAME VALUE] the eight tagging settings as stored, or change one\n"
    "  edit FILE [--theme dark|light]\n"
    "                        the tags of FILE in a window (Windows build only)\n"
    "Exit status: 0 success; 1 the operation failed (the plug-in said no, with its\n"
    "error and information lines on stderr); 2 bad usage.\n";

int HostMain(const std::vector<std::string>& argv) {
  SetUpStdout();
  std::vector<std::string> args = argv;
  std::string pluginPath = ExecutableDirectory() + PluginFileName();
  if (args.size() >= 2 && args[0] == "--plugin") {
    pluginPath = args[1];
    args.erase(args.begin(), args.begin() + 2);
  }
  if (args.empty() || args[0] == "--help" || args[0] == "-h") {
    std::fputs(kUsage, args.empty() ? stderr : stdout);
    return args.empty() ? 2 : 0;
  }
  const std::string command = args[0];
  args.erase(args.begin());
  if (command == "settings") return CommandSettings(args);
  constexpr std::array<std::string_view, 10> kCommands = {"open",  "info",    "decode",  "tags",    "tag",
                                                          "untag", "formats", "options", "convert", "edit"};
  if (std::find(kCommands.begin(), kCommands.end(), command) == kCommands.end()) {
    std::fprintf(stderr, "wavehost: unknown command '%s'\n%s", command.c_str(), kUsage);
    return 2;
  }
  if ((command == "formats" || command == "options") && !args.empty()) return UsageError();
  Session session;
  if (!session.Start(pluginPath, std::find(args.begin(), args.end(), "--trace") != args.end())) return 1;
  if (command == "open") return CommandOpen(session, args);
  if (command == "formats") return CommandFormats(session);
  if (command == "options") return CommandOptions(session);
  if (command == "tag") return CommandTag(session, args);
  if (command == "untag") return CommandUntag(session, args);
  if (command == "edit") return CommandEdit(session, args);
  if (command == "info") return CommandInfo(session, args);
  if (command == "decode") return CommandDecode(session, args);
  if (command == "convert") return CommandConvert(session, args);
  return CommandTags(session, args);
}
