#ifndef BIZ_MONITOR_COLOURS_H
#define BIZ_MONITOR_COLOURS_H

#include <QtGui/QBrush>
#include <QtGui/QColor>
#include <QtGui/QPalette>

#include <report/drawing/inks.h>
#include <report/drawing/style.h>

namespace biz::monitor {

/** The report's colours on the desktop's own: what is text or paper follows the palette, dark or light. */
class Colours
{
public:
    explicit Colours(const QPalette &palette);

    QColor operator()(report::Ink ink) const;

    /** How commands are filled by what became of them: by a pattern too, for those who do not see the colour. */
    QBrush fillOf(report::Look look) const;
    QColor edgeOf(report::Look look) const;

private:
    QPalette m_palette;
    bool m_isDark;
};

} // namespace biz::monitor

#endif
