// Called first of all by a program: a standard stream that whoever started it had closed would give its number to the
// next file or socket that is opened, and everything printed would go there. It is held by a file that takes no
// output: printing fails, as on a closed stream.
#pragma once

namespace TIRK_MCUC {

void holdStandardStreams();

}  // namespace TIRK_MCUC
