#pragma once

#include <QString>
#include <optional>

class App;

// The most parts a post can have: PartNumbers holds parts 1 to 200.
constexpr int kMaxParts = 200;

// How the gather step finds a part's row: through the index of the list's
// part counters, or by the list's own find over every row, which is the
// reference the index is held to.
enum class PartSearch { Indexed, Plain };

// Decides from a row title ("number subject") whether the row belongs to a
// post of several parts, finds every part in lstMessages, tags their rows
// "256" and leaves their article numbers in PartNumbers and their count in
// PartIndex (-1 when the post can't be had). True when every part was found.
// curmsg, the row's index, is not consulted.
bool msgMultipart(App& app, QString& msgTitle, qint32& curmsg,
                  PartSearch search = PartSearch::Indexed);

// The number at the start of a text: blanks before and between its digits
// are skipped, a sign, a fraction and an exponent are read, reading stops at
// the first character that cannot continue it; rounded half to even. 0 for a
// text without a number; nothing when it doesn't fit 32 bits.
std::optional<qint64> numericPrefix(QStringView text);
