#include "shell/app.h"
