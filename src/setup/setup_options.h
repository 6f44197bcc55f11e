#pragma once

#include <QString>
#include <optional>

class App;

// The check boxes of the setup dialog, each bound to its shared variable.
enum class SetupOption {
    SPAM,
    HTTP,
    Binary,
    AutoLoad,
    FileDelete,
    Video,
    Show,
    ModernParts,
    Par2,
};

bool optionValue(const App& app, SetupOption option);
// A click on the box: the variable follows at once.
void setOption(App& app, SetupOption option, bool ticked);

// Characters the number fields take: Backspace, Enter, "." and "0" to "K".
bool numberFieldAccepts(char16_t c);

// The whole text as a number, as the number fields read it: blanks around,
// a sign, digits with a decimal point, an exponent with E or D. Empty when
// the text is no number.
std::optional<double> numericValue(const QString& text);
// The number at the start of the text, up to the first character that is no
// part of one; 0 when there is none.
double leadingValue(const QString& text);

// Focus leaving txtTimeout: a text that is no number or above 32767 becomes
// "255"; Timeout takes the (corrected) text. Returns the text to show.
QString txtTimeout_LostFocus(App& app, const QString& text);
// Focus leaving txtMinGroups: a leading number above 32767 makes the text
// "32767"; MinGroups takes the text when it is a number. Returns the text to show.
QString txtMinGroups_LostFocus(App& app, const QString& text);

// Focus leaving txtHeaderChunk (articles per header request, 1 and up) or
// txtNewestHeaders (newest articles to list, 0 for all): a whole number in
// range is taken; anything else brings back the value the variable holds.
// Returns the text to show.
QString txtHeaderChunk_LostFocus(App& app, const QString& text);
QString txtNewestHeaders_LostFocus(App& app, const QString& text);

// The directory chooser moved: DestDir follows, with its trailing separator.
void SetDestDir(App& app, const QString& path);
// "Create Directory": asks for a name and makes it inside the chooser's path.
// True when a directory was made.
bool cmdDir(App& app, const QString& chooserPath);

// OK: the caption and the settings store; the dialog hides itself.
void cmdOK_Click(App& app);
// The server list may not be edited by hand while the main connection is up,
// which the main toolbar's connect button shows by its caption.
bool setupConnected(const App& app);
