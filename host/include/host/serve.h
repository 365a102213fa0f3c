#ifndef BIZ_HOST_SERVE_H
#define BIZ_HOST_SERVE_H

#include <host/host_export.h>

namespace biz::host {

class DeviceHost;
class OsdHost;

/**
 * Serves a client that is another program, in any language: it writes commands as lines of JSON to the input, and
 * reads what becomes of them from the output as lines of JSON. docs/serve.md has both vocabularies.
 *
 * ## Use
 *  1. Make a QCoreApplication and a host, with its link, codec, matcher and model.
 *  2. `return biz::host::serve(host);`
 *
 * It starts the host and runs an event loop of its own. It returns when the client asks for it, when the input
 * ends, when nobody can read the output any more, or on QCoreApplication::exit(); at most a second after that,
 * with the host stopped. Who asked for the end gets all lines as long as it goes on to read: then the second begins
 * with the last byte that was read. What it returns is for main(): 0; 1 when the host could not be started; 2 when a
 * client was there that did not read all lines in time, or when the output could not be written. Qt 6's quit() ends
 * QCoreApplication::exec() alone, and does nothing here.
 *
 * ## Promises
 *  - Each command that is not refused has exactly one end on the output, which bears its id. Some may be missing
 *    where 2 is returned.
 *  - `writing` has left this process before a command is handed to the link.
 *  - While nobody reads the output no input is taken and no command is written, and memory stays bounded.
 *
 * ## Asks for
 *  - The host's thread, which must be the application's, and a host that does not run yet.
 *  - Two descriptors of a pipe, a socket or a file, which nothing else reads or writes. They are neither closed nor
 *    made non-blocking.
 */
BIZ_HOST_EXPORT int serve(DeviceHost &host, int input = 0, int output = 1);

/** The same for the OSD channel: each command names its device. */
BIZ_HOST_EXPORT int serve(OsdHost &host, int input = 0, int output = 1);

} // namespace biz::host

#endif
