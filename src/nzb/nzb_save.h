#pragma once

class App;
struct NzbDocument;

// The NZB of the selected rows of lstMessages: each post, collated as a
// download collates it, becomes one file whose segments are its parts, with
// the Message-ID and size of each from the server's header data, and the
// subject, poster and date of its first part. A row whose post can't be had
// (a part missing) or whose parts the server no longer lists is left out.
// The connection must be open on CurrentGroup, as after listing it.
NzbDocument nzbOfSelection(App& app);

// "Save Selected as NZB...": asks for the file, asks before replacing one,
// and writes it atomically. Says in the status line how many posts it holds.
void menuSaveNzb_Click(App& app);
