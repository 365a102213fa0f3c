#include <biz_monitor/looks/fonts.h>

namespace biz::monitor {

QFont scaled(QFont font, double factor)
{
    if (font.pointSizeF() > 0.0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    } else {
        font.setPixelSize(static_cast<int>(font.pixelSize() * factor));
    }
    return font;
}

} // namespace biz::monitor
