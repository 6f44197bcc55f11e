#pragma once

class App;

// A press on toolbar button number; dispatched by the button's caption.
void Toolbar1_ButtonClick(App& app, int number);
