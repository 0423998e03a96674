// The rows of the table, by what they look at. Each takes some seconds.
#pragma once

#include "daemon.h"
#include "measure.h"

namespace bench {

void requestRows(const Daemon& daemon, int rounds, Rows& rows);  // round trips, tails, throughput
void footprintRows(Daemon& daemon, int rounds, Rows& rows);      // memory, start, idle, size
void workRows(int rounds, Rows& rows);                           // saves and trace lines, in processes of their own
void functionRows(int rounds, Rows& rows);                       // calculations without a daemon
void growthCurves(const Daemon& daemon, Curves& curves);         // what costs become

}  // namespace bench
