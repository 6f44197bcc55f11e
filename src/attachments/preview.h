#pragma once

class App;

// Toggles the preview of incoming pictures.
void menuPreview_Click(App& app);
