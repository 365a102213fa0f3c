#include <report/drawing/style.h>

#include <report/drawing/inks.h>

namespace biz::report {

Look lookOf(const history::Command &command)
{
    using host::Outcome;
    if (!command.hasEnded) {
        return Look::Open;
    }
    switch (command.outcome) {
    case Outcome::Answered:
        return Look::Answered;
    case Outcome::GaveUp:
        return Look::GivenUp;
    case Outcome::Released:
        return Look::Released;
    case Outcome::Unreachable:
        return Look::Unreachable;
    case Outcome::Cleared:
    case Outcome::Skipped:
    case Outcome::Stopped:
    case Outcome::Expired:
    case Outcome::Superseded:
    case Outcome::Cancelled:
    case Outcome::Interrupted:
        return Look::Ended;
    }
    return Look::Ended;
}

const char *classOf(Look look)
{
    switch (look) {
    case Look::Answered:
        return "b answered";
    case Look::Ended:
        return "b ended";
    case Look::Open:
        return "b open";
    case Look::Released:
        return "b released";
    case Look::Unreachable:
        return "b unreachable";
    case Look::GivenUp:
        return "b givenup";
    }
    Q_UNREACHABLE();
}

QString nameOf(Look look)
{
    switch (look) {
    case Look::Answered:
        return QStringLiteral("answered");
    case Look::Ended:
        return QStringLiteral("ended by the host");
    case Look::Open:
        return QStringLiteral("not ended yet");
    case Look::Released:
        return QStringLiteral("sent without waiting, no reply");
    case Look::Unreachable:
        return QStringLiteral("link was down");
    case Look::GivenUp:
        return QStringLiteral("given up");
    }
    Q_UNREACHABLE();
}

namespace {

QString inkVariables(const char *InkRow::*page)
{
    QString variables;
    for (const InkRow &row : inks) {
        variables += QStringLiteral(" --%1: %2;").arg(QString::fromLatin1(row.name), QString::fromLatin1(row.*page));
    }
    return variables;
}

} // namespace

QString styleSheet()
{
    return QStringLiteral("\n:root {%1 }\n"
                          "@media screen and (prefers-color-scheme: dark) { :root { color-scheme: dark;%2 } }\n")
               .arg(inkVariables(&InkRow::light), inkVariables(&InkRow::dark)) +
           QStringLiteral(R"css(@page { size: landscape; margin: 12mm; }
@media print {
  body { max-width: none; padding: 0; font-size: 10pt; } nav { display: none; }
  figure, .finding, tr { break-inside: avoid; } h2, h3, h2 + .quiet { break-after: avoid; }
  * { print-color-adjust: exact; -webkit-print-color-adjust: exact; } }
body { margin: 0 auto; max-width: 1120px; padding: 24px 20px 60px; background: var(--page); color: var(--text);
  font: 15px/1.5 system-ui, "Segoe UI", "DejaVu Sans", sans-serif; }
h1 { font-size: 1.5rem; margin: 0 0 2px; } h2 { font-size: 1.15rem; margin: 34px 0 8px; }
h3 { font-size: 1rem; margin: 26px 0 6px; } a { color: var(--good); }
.quiet { color: var(--quiet); font-size: .9rem; margin: 2px 0; }
.finding { display: flex; gap: 14px; align-items: flex-start; margin: 10px 0; padding: 12px 16px; background: var(--card);
  border-left: 6px solid var(--neutral); border-radius: 4px; }
.finding p { margin: 0; } .finding .sentence { font-size: 1.08rem; } .finding .headline { font-weight: 650; }
.finding .icon { font-size: 1.35rem; line-height: 1.35; width: 1.4em; flex: none; text-align: center; color: var(--quiet); }
.fault { border-left-color: var(--bad); } .fault .icon, .fault .headline { color: var(--bad); }
.warning { border-left: 6px dashed var(--late); } .warning .icon, .warning .headline { color: var(--late); }
.good { border-left: 6px double var(--good); } .good .icon, .good .headline { color: var(--good); }
.advice { color: var(--quiet); }
figure { margin: 12px 0; } figcaption { color: var(--quiet); font-size: .88rem; margin-bottom: 2px; }
figcaption b { color: var(--text); }
.charts { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 430px), 1fr)); gap: 4px 28px; }
.drawing { width: 100%; height: auto; display: block; font: 11px system-ui, "Segoe UI", "DejaVu Sans", sans-serif; }
.patterns { position: absolute; width: 0; height: 0; }
.legend { display: flex; flex-wrap: wrap; gap: 2px 18px; list-style: none; padding: 0; margin: 6px 0; font-size: .88rem; }
.legend svg { width: 22px; height: 12px; vertical-align: -1px; margin-right: 5px; }
svg text { fill: var(--text); } svg .axis { fill: var(--quiet); } svg .alarm { fill: var(--bad); font-weight: 650; }
svg .bold { font-weight: 650; } svg .center { text-anchor: middle; }
.grid { stroke: var(--rule); stroke-width: .6; } .row { fill: var(--band); }
.b { stroke-width: .5; } .answered { fill: var(--good); stroke: var(--good); }
.ended { fill: url(#p-ended); stroke: var(--neutral); } .open { fill: none; stroke: var(--quiet); stroke-width: 1; stroke-dasharray: 3 2; }
.released { fill: url(#p-released); stroke: var(--sky); } .unreachable { fill: url(#p-unreachable); stroke: var(--down); }
.givenup { fill: url(#p-givenup); stroke: var(--bad); } .late { fill: none; stroke: var(--late); stroke-width: 1.8; }
.waiting { fill: var(--neutral); opacity: .55; }
.p-bad { stroke: var(--bad); stroke-width: 3.2; } .p-bad-back { fill: var(--bad-soft); }
.p-down { stroke: var(--down); stroke-width: 1.4; } .p-down-back { fill: var(--down-soft); }
.p-neutral { fill: var(--neutral); } .p-sky { stroke: var(--sky); stroke-width: 2; }
.silence { fill: none; stroke: var(--bad); stroke-width: 1.6; } .outage { fill: none; stroke: var(--down); stroke-width: 1.6; }
.k { stroke-width: 1.8; fill: none; } .k-cross { stroke: var(--bad); stroke-width: 2.2; } .k-triangle { stroke: var(--late); fill: var(--late); stroke-width: 1; }
.k-diamond { stroke: var(--late); } .k-square { stroke: var(--odd); } .k-plus { stroke: var(--odd); } .k-stroke { stroke: var(--quiet); }
.dots { stroke: var(--good); stroke-width: 3.4; stroke-linecap: round; fill: none; opacity: .8; }
.wait { stroke: var(--bad); stroke-width: 1.5; stroke-dasharray: 7 4; } .usable { stroke: var(--late); stroke-width: 1.3; stroke-dasharray: 2 3; }
.queue { fill: var(--sky); opacity: .55; stroke: var(--good); stroke-width: 1; }
table { border-collapse: collapse; width: 100%; font-size: .9rem; margin: 8px 0; } caption { text-align: left; color: var(--quiet); }
th, td { text-align: left; vertical-align: top; padding: 4px 10px 4px 0; border-bottom: 1px solid var(--rule); }
th { font-weight: 600; } td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
td.n { white-space: nowrap; }
.scroll { overflow-x: auto; }
code { font: .92em ui-monospace, "DejaVu Sans Mono", monospace; white-space: nowrap; }
mark { background: var(--mark); color: inherit; font-weight: 700; padding: 0 2px; border-bottom: 2px solid var(--bad); }
nav ol { columns: 2; padding-left: 1.4em; font-size: .92rem; }
)css");
}

QString patterns()
{
    return QStringLiteral("<svg class=\"patterns\" aria-hidden=\"true\"><defs>"
                          "<pattern id=\"p-givenup\" width=\"7\" height=\"7\" patternUnits=\"userSpaceOnUse\" "
                          "patternTransform=\"rotate(45)\"><rect class=\"p-bad-back\" width=\"7\" height=\"7\"/>"
                          "<line class=\"p-bad\" x1=\"2\" y1=\"0\" x2=\"2\" y2=\"7\"/></pattern>"
                          "<pattern id=\"p-unreachable\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\">"
                          "<rect class=\"p-down-back\" width=\"6\" height=\"6\"/>"
                          "<path class=\"p-down\" d=\"M0 0l6 6M6 0l-6 6\"/></pattern>"
                          "<pattern id=\"p-ended\" width=\"5\" height=\"5\" patternUnits=\"userSpaceOnUse\">"
                          "<circle class=\"p-neutral\" cx=\"2\" cy=\"2\" r=\"1.3\"/></pattern>"
                          "<pattern id=\"p-released\" width=\"5\" height=\"5\" patternUnits=\"userSpaceOnUse\">"
                          "<line class=\"p-sky\" x1=\"0\" y1=\"2\" x2=\"5\" y2=\"2\"/></pattern>"
                          "</defs></svg>\n");
}

} // namespace biz::report
