#include <host/device_host.h>
#include <host/osd_host.h>
#include <host/reply_words.h>

#include <QtCore/QCoreApplication>

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    biz::host::DeviceHost host;
    biz::host::OsdHost osdHost;
    return host.isValid() && osdHost.isValid() && !biz::host::checkedModels().isEmpty() ? 0 : 1;
}
