#include <gtest/gtest.h>

#include "support/suggest.h"

TEST(Suggest, NearestCandidate) {
  struct Case {
    const char* word;
    std::initializer_list<std::string_view> candidates;
    const char* want;
  };
  const Case cases[] = {
      {"Audio", {"audio", "radio"}, "audio"},                 // case alone beats one edit
      {"RM_Normal", {"RM_NORMAL", "RM_DIAG"}, "RM_NORMAL"},  // case alone, however many letters
      {"adio", {"audio", "radio"}, ""},                       // two at one edit: no guess
      {"auido", {"audio", "video"}, "audio"},                 // a swap is one edit
      {"enable", {"enabled", "enable_x"}, "enabled"},
      {"ab", {"abc"}, "abc"},                                 // at least one edit, however short
      {"abcdef", {"abXYef"}, "abXYef"},                       // six letters: two edits
      {"abcde", {"abXYe"}, ""},                               // five: one
      {"médïa", {"media"}, ""},                               // code points, not bytes: two edits in five
      {"mädia", {"media"}, "media"},
      {"media", {"media", "medias"}, "medias"},               // itself is no suggestion
      {"navi", {"navcore", "nav"}, "nav"},
      {"x", {"audio"}, ""},
      {"", {"a"}, ""},
      {"player", {"player1", "player2", "player1"}, ""},      // offered twice is still one
      {"plyer", {"player", "player"}, "player"},
  };
  for (const Case& c : cases) {
    support::Nearest n(c.word);
    for (std::string_view candidate : c.candidates) n.offer(candidate);
    EXPECT_EQ(n.best(), c.want) << c.word;
  }
  EXPECT_EQ(support::editDistance("ca", "abc", 5), 3u);  // no edit of a swapped pair
  EXPECT_EQ(support::editDistance("kitten", "sitting", 1), 2u);
}
