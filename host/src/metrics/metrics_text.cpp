#include <metrics/metrics_text_p.h>

namespace biz::host {

namespace {

QByteArray labelValue(const QString &value)
{
    QString kept = value.left(longestLabel);
    kept.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    kept.replace(QLatin1Char('"'), QLatin1String("\\\""));
    kept.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    return kept.toUtf8();
}

QByteArray typeName(MetricsText::Type type)
{
    switch (type) {
    case MetricsText::Type::Counter:
        return "counter";
    case MetricsText::Type::Gauge:
        return "gauge";
    case MetricsText::Type::Histogram:
        return "histogram";
    }
    Q_UNREACHABLE();
}

QByteArray numberText(double number)
{
    constexpr int enoughDigits = 15; // a total stays whole
    return QByteArray::number(number, 'g', enoughDigits);
}

} // namespace

MetricsLabels::MetricsLabels(std::initializer_list<std::pair<const char *, QString>> labels)
{
    for (const auto &[name, value] : labels) {
        add(name, value);
    }
}

MetricsLabels MetricsLabels::with(const char *name, const QString &value) const
{
    MetricsLabels more = *this;
    more.add(name, value);
    return more;
}

void MetricsLabels::add(const char *name, const QString &value)
{
    if (!value.isEmpty()) {
        m_inner += (m_inner.isEmpty() ? "" : ",") + QByteArray(name) + "=\"" + labelValue(value) + '"';
    }
}

void MetricsText::begin(const char *name, Type type, const char *help)
{
    m_name = name;
    m_text += "# HELP " + m_name + ' ' + help + "\n# TYPE " + m_name + ' ' + typeName(type) + '\n';
}

void MetricsText::value(const MetricsLabels &labels, double number, const char *suffix)
{
    m_text += m_name + suffix + labels.text() + ' ' + numberText(number) + '\n';
}

} // namespace biz::host
