#include <logging_p.h>

namespace biz::host {

Q_LOGGING_CATEGORY(hostLog, "biz.host")

} // namespace biz::host
