// What it costs to enqueue a command in the host kit while ten wait, and while a million do.
// Prints the median of many small batches, each of which is cancelled again, so that as many wait
// for the next one.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <vector>

#include <unistd.h>

#include <QtCore/QCoreApplication>

#include <host/device_host.h>

namespace {

using namespace biz::host;

constexpr int few = 10;
constexpr int many = 1000000;
constexpr int batchSize = 10;
constexpr int batches = 3000;

long long nowNs()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

model_Protocoldata command()
{
    return makeCommand(0xF1, 0x0E, QByteArray(10, 'x'));
}

bool fill(DeviceHost &host, int waiting)
{
    while (host.waiting() < waiting) {
        if (host.enqueue(command()) == 0) {
            return false;
        }
    }
    return true;
}

double medianNs(DeviceHost &host)
{
    const model_Protocoldata record = command();
    std::vector<double> costs;
    for (int batch = 0; batch < batches; ++batch) {
        std::array<Ticket, batchSize> tickets{};
        const long long before = nowNs();
        for (Ticket &ticket : tickets) {
            ticket = host.enqueue(record);
        }
        costs.push_back(static_cast<double>(nowNs() - before) / batchSize);
        for (const Ticket ticket : tickets) {
            host.cancel(ticket);
        }
        QCoreApplication::processEvents(); // their ends leave, so that these do not pile up
    }
    std::sort(costs.begin(), costs.end());
    return costs[costs.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    DeviceHost host;
    if (!fill(host, few)) {
        std::fprintf(stderr, "%s\n", qPrintable(host.errorString()));
        return 1;
    }
    medianNs(host); // warms up
    const double fewNs = medianNs(host);
    if (!fill(host, many)) {
        std::fprintf(stderr, "%s\n", qPrintable(host.errorString()));
        return 1;
    }
    const double manyNs = medianNs(host);
    std::printf("{\"name\": \"host_enqueue\", \"few_ns\": %.1f, \"many_ns\": %.1f}\n", fewNs, manyNs);
    std::fflush(stdout);
    _exit(0); // a million ends are nobody's concern
}
