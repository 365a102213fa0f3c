#ifndef HOST_WINDOW_H
#define HOST_WINDOW_H

#include <QtWidgets/QWidget>

#include <host/device_host.h>

class QLabel;
class QLineEdit;
class QPushButton;
class QTableWidget;

/**
 * Connects to a device, sends commands, and lists how each ended.
 *
 * The kit's signals leave on this object's thread from its event loop, so that its slots may
 * touch the window and call the kit as they like.
 */
class HostWindow : public QWidget
{
    Q_OBJECT

public:
    explicit HostWindow(const QString &url, QWidget *parent = nullptr);
    ~HostWindow() override;

    void connectToDevice();
    void sendCommand();

Q_SIGNALS:
    void deviceConnected();
    void commandEnded(bool answered);

private:
    void buildLayout();
    void listenToHost();
    void toggleConnection();
    void disconnectFromDevice();
    void showSent(biz::host::Ticket ticket, int attempt, const model_Protocoldata &command);
    void showEnd(biz::host::Ticket ticket, const biz::host::CommandResult &result);
    int rowOf(biz::host::Ticket ticket);
    void showLink(const biz::host::LinkStatus &status);
    void updateStatus(const QString &text);

    biz::host::DeviceHost m_host;
    QLineEdit *m_url;
    QLineEdit *m_command;
    QLineEdit *m_payload;
    QPushButton *m_connect;
    QPushButton *m_send;
    QTableWidget *m_table;
    QLabel *m_status;
};

#endif
