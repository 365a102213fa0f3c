#include <biz_monitor/looks/colours.h>

namespace biz::monitor {

namespace {

using report::Ink;
using report::Look;

QColor between(const QColor &from, const QColor &to, double share)
{
    const auto mix = [share](int a, int b) {
        return static_cast<int>(a + (b - a) * share);
    };
    return QColor(mix(from.red(), to.red()), mix(from.green(), to.green()), mix(from.blue(), to.blue()));
}

} // namespace

Colours::Colours(const QPalette &palette)
    : m_palette(palette)
    , m_isDark(palette.color(QPalette::Base).lightness() < palette.color(QPalette::Text).lightness())
{
}

QColor Colours::operator()(Ink ink) const
{
    constexpr double quiet = 0.35;
    constexpr double faint = 0.82;
    const QColor page = m_palette.color(QPalette::Base);
    const QColor text = m_palette.color(QPalette::Text);
    switch (ink) {
    case Ink::Page:
        return page;
    case Ink::Text:
        return text;
    case Ink::Quiet:
        return between(text, page, quiet);
    case Ink::Rule:
        return between(text, page, faint);
    case Ink::Band:
    case Ink::Card:
        return m_palette.color(QPalette::AlternateBase);
    case Ink::Good:
    case Ink::Bad:
    case Ink::BadSoft:
    case Ink::Late:
    case Ink::Odd:
    case Ink::Down:
    case Ink::DownSoft:
    case Ink::Neutral:
    case Ink::Sky:
    case Ink::MarkedBack:
        break;
    }
    const report::InkRow &row = report::inks[static_cast<std::size_t>(ink)];
    return QColor(QLatin1String(m_isDark ? row.dark : row.light));
}

QColor Colours::edgeOf(Look look) const
{
    switch (look) {
    case Look::Answered:
        return (*this)(Ink::Good);
    case Look::Ended:
        return (*this)(Ink::Neutral);
    case Look::Open:
        return (*this)(Ink::Quiet);
    case Look::Released:
        return (*this)(Ink::Sky);
    case Look::Unreachable:
        return (*this)(Ink::Down);
    case Look::GivenUp:
        return (*this)(Ink::Bad);
    }
    Q_UNREACHABLE();
}

QBrush Colours::fillOf(Look look) const
{
    switch (look) {
    case Look::Answered:
        return edgeOf(look);
    case Look::Ended:
        return {edgeOf(look), Qt::Dense4Pattern};
    case Look::Open:
        return Qt::NoBrush;
    case Look::Released:
        return {edgeOf(look), Qt::HorPattern};
    case Look::Unreachable:
        return {edgeOf(look), Qt::DiagCrossPattern};
    case Look::GivenUp:
        return {edgeOf(look), Qt::BDiagPattern};
    }
    Q_UNREACHABLE();
}

} // namespace biz::monitor
