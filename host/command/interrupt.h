#ifndef HOST_COMMAND_INTERRUPT_H
#define HOST_COMMAND_INTERRUPT_H

namespace command {

/// Makes the first Ctrl-C a request to stop that StopRequested tells. Another one kills, as it always did, unless it
/// comes within a second: one press arrives twice where the terminal and a wrapping program both send it.
/// A process that was started with Ctrl-C ignored goes on ignoring it.
void CatchInterrupts();

/// Whether Ctrl-C was pressed. Any thread may ask.
bool StopRequested();

}  // namespace command

#endif
