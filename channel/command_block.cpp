#include "rk/channel.h"

rk::CommandBlock ucb;
