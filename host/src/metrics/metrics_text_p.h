#ifndef BIZ_HOST_METRICS_TEXT_P_H
#define BIZ_HOST_METRICS_TEXT_P_H

#include <initializer_list>
#include <utility>

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace biz::host {

/** A label's value as far as it is kept: some are texts of rules. */
constexpr int longestLabel = 120;

/** Labels, as they stand behind a name: {channel="osd",device="127.1.0.7"}; those without a value are left out. */
class MetricsLabels
{
public:
    MetricsLabels(std::initializer_list<std::pair<const char *, QString>> labels);

    /** The same with one more, such as the bound of a class of a histogram. */
    MetricsLabels with(const char *name, const QString &value) const;

    QByteArray text() const { return m_inner.isEmpty() ? QByteArray() : '{' + m_inner + '}'; }

private:
    void add(const char *name, const QString &value);

    QByteArray m_inner;
};

/** Text in the Prometheus format; the lines of one name have to be written one after the other. */
class MetricsText
{
public:
    enum class Type { Counter, Gauge, Histogram };

    /** Begins a name. */
    void begin(const char *name, Type type, const char *help);

    /** A value of the name that was begun; `suffix` is that of a part of a histogram. */
    void value(const MetricsLabels &labels, double number, const char *suffix = "");

    const QByteArray &text() const { return m_text; }

private:
    QByteArray m_text;
    QByteArray m_name;
};

} // namespace biz::host

#endif
