#include <biz_monitor/looks/tool_tip.h>

namespace biz::monitor {

QString plainToolTip(const QString &text)
{
    return text.isEmpty() ? QString()
                          : QStringLiteral("<div style=\"white-space:pre-wrap\">%1</div>").arg(text.toHtmlEscaped());
}

} // namespace biz::monitor
