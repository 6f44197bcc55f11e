#pragma once

class App;

// Double click (or Enter) on lstMessages, and the Download button: fetches
// the attachments of the selected rows, at most 200 of them, in row order.
void lstMessages_DblClick(App& app);
