#include <array>

#include "io/Text.h"
#include "tags/TagList.h"

namespace {

constexpr char16_t kCR = u'\r';

// Artist names with a "/" of their own. Kept exactly as the list has always
// been, including its repeats and alternative spellings, so that which values
// are rejoined does not change between versions.
constexpr std::array<std::u16string_view, 106> kSlashArtists = {
    u"#/Tau",
    u"//LYSE//",
    u"+/-",
    u"11/5",
    u"20/20",
    u"24/7",
    u"24/7 Hustlaz",
    u"3/4HadBeenEliminated",
    u"5/8erl In Ehr'n",
    u"50/50 Twin",
    u"8 1/2 Souvenirs",
    u"A/Collision",
    u"A/S Dameteater & Søn",
    u"A/S Dameteater & Son",
    u"ac/dc",
    u"Akron/Family",
    u"Analogue I/O",
    u"Arktis/Air",
    u"Atlantic/Pacific",
    u"Axxa/Abraxas",
    u"B/B/S/",
    u"Behan/Johnson",
    u"Black Forest/Black Sea",
    u"Black/Note",
    u"Blood In/Blood Out",
    u"Bloodshot/BXL",
    u"Body/Head",
    u"Brace/Choir",
    u"Budman/Levy Orchestra",
    u"Carbon/Silicon",
    u"Celano/Baggiani Group",
    u"Chazz/Vintage",
    u"Clan/Destine",
    u"Cloak/Dagger",
    u"Corbin/Hanner",
    u"DD/MM/YYYY",
    u"De/Vision",
    u"Disaster/Peace",
    u"DJ /rupture",
    u"Either/Orchestra",
    u"Ensemble 10/10",
    u"F/I",
    u"F/A/V",
    u"Fankhauser/Cassidy Band",
    u"Fr/Action",
    u"In/Humanity",
    u"Inhale/Exhale",
    u"Internal/External",
    u"Is/Is",
    u"Jim Hall/Ron Carter Duo",
    u"Joao Mineiro/Marciano",
    u"Julian DJ/Davide Sonar",
    u"Kadah/Vresky",
    u"Ke/Hil",
    u"Lo/Fi Pioneer",
    u"Love/Hate",
    u"M/A/R/R/S",
    u"Master/Slave Relationship",
    u"Mats/Morgan Band",
    u"Mono/Poly",
    u"Morelenbaum²/Sakamoto",
    u"Morelenbaum2/Sakamoto",
    u"Mother/Father",
    u"Mundo Livre S/A",
    u"Music Projects/London",
    u"Necros/FM",
    u"Ninjas w/Syringes",
    u"Ole 1/27 Grunts",
    u"Oliver/Dawson Saxon",
    u"Pas/Cal",
    u"Phil Woods/Gene Quill Quintet",
    u"Phoenix/Nebulin",
    u"Poley/Rivera",
    u"Prayer/Life",
    u"Project/Object",
    u"Quarter & 1/2",
    u"R/e/d/s",
    u"Repeat/Repeat",
    u"Schanzer/Speach Duo",
    u"Skewbald/Grand Union",
    u"Stokstad/Jensen Trad Band",
    u"Stokstad/Jensen Trad.Band",
    u"Strauss/Warschauer Duo",
    u"The Strauss/Warschauer Duo",
    u"SW/MM/NG",
    u"The Capp/Pierce Juggernaut",
    u"The Cedar Walton/Hank Mobley Quintet",
    u"The Christopher/Emery Company",
    u"The Kalichstein/Laredo/Robinson Trio",
    u"The Sun Sawed in 1/2",
    u"The Taylor/Fidyk Big Band",
    u"The Wallace/Trainor Conspiracy",
    u"The World/Inferno Friendship Society",
    u"The/Das",
    u"Their/They're/There",
    u"Tin/Bag",
    u"To/Die/For",
    u"Trolle//Siebenhaar",
    u"F/I",
    u"V/Vm",
    u"Vio/Miré",
    u"White/Lichens",
    u"White/Light",
    u"Whitford / St. Holmes",
    u"Xero/G",
    u"Yamantaka // Sonic Titan",
};

constexpr std::array<std::u16string_view, 4> kArtistNames = {u"aRtist", u"aRtist sort", u"aLbum artist",
                                                             u"aLbum artist sort"};

std::u16string WithoutSpaces(std::u16string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (const char16_t c : text) {
    if (c != u' ') out.push_back(c);
  }
  return out;
}

// The form a name takes after a reader split it at "/" into separate values.
std::u16string AsSplitValue(std::u16string_view name) {
  std::u16string out = WithoutSpaces(name);
  for (char16_t& c : out) {
    if (c == u'/') c = kCR;
  }
  return out;
}

}  // namespace

std::u16string RejoinSlashArtists(std::u16string_view value) {
  std::u16string joined(value);
  const std::u16string compact = WithoutSpaces(value);
  for (const std::u16string_view name : kSlashArtists) {
    if (!EqualsFolded(compact, AsSplitValue(name))) continue;
    for (char16_t& c : joined) {
      if (c == kCR) c = u'/';
    }
    break;
  }
  return joined;
}

void ApplySlashArtistRule(TagList& list) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    TagEntry& entry = list[i];
    for (const std::u16string_view artist : kArtistNames) {
      if (EqualsFolded(entry.name, artist)) {
        entry.value = RejoinSlashArtists(entry.value);
        break;
      }
    }
  }
}
