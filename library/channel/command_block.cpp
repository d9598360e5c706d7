#include "library/channel/channel.h"

rk::CommandBlock ucb;
