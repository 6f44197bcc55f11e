#include "shell/main_window.h"
