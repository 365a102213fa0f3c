#include "host_window.h"

#include <QtCore/QUrl>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTableWidget>
#include <QtWidgets/QVBoxLayout>

using namespace biz::host;

namespace {

enum Column { TicketColumn, CommandColumn, OutcomeColumn, ReasonColumn, ColumnCount };

/** Code and sub-code as in "F1/12"; false when the text is no such pair. */
bool readCommand(const QString &text, model_Protocoldata *command)
{
    const QStringList parts = text.split(QLatin1Char('/'));
    if (parts.size() != 2) {
        return false;
    }
    quint8 codes[2] = {};
    for (int i = 0; i < 2; ++i) {
        bool isNumber = false;
        const uint value = parts.at(i).toUInt(&isNumber, 16);
        if (!isNumber || value > 0xFF) {
            return false;
        }
        codes[i] = static_cast<quint8>(value);
    }
    *command = makeCommand(codes[0], codes[1]);
    return true;
}

} // namespace

HostWindow::HostWindow(const QString &url, QWidget *parent)
    : QWidget(parent)
    , m_url(new QLineEdit(url))
    , m_command(new QLineEdit(QStringLiteral("F1/12")))
    , m_payload(new QLineEdit)
    , m_connect(new QPushButton)
    , m_send(new QPushButton(tr("Send")))
    , m_table(new QTableWidget(0, ColumnCount))
    , m_status(new QLabel)
{
    setWindowTitle(tr("One device"));
    buildLayout();
    listenToHost();
    // The rules of this model judge each reply.
    const bool isReady = m_host.setModel(QStringLiteral("A2")) && m_host.isValid();
    updateStatus(isReady ? tr("Not connected.") : m_host.errorString());
}

HostWindow::~HostWindow()
{
    // No slot of a window that is half gone shall hear how the last commands ended.
    disconnect(&m_host, nullptr, this, nullptr);
    m_host.stop();
}

void HostWindow::buildLayout()
{
    auto *form = new QFormLayout;
    form->addRow(tr("Device"), m_url);
    form->addRow(tr("Command/sub-code"), m_command);
    form->addRow(tr("Payload"), m_payload);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_connect);
    buttons->addWidget(m_send);

    m_table->setHorizontalHeaderLabels({tr("Ticket"), tr("Command"), tr("Outcome"), tr("Why")});
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->verticalHeader()->hide();
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addLayout(buttons);
    layout->addWidget(m_table);
    layout->addWidget(m_status);
    resize(640, 420);
}

void HostWindow::listenToHost()
{
    connect(m_connect, &QPushButton::clicked, this, &HostWindow::toggleConnection);
    connect(m_send, &QPushButton::clicked, this, &HostWindow::sendCommand);
    connect(&m_host, &DeviceHost::linkStateChanged, this, &HostWindow::showLink);
    connect(&m_host, &DeviceHost::sent, this, &HostWindow::showSent);
    connect(&m_host, &DeviceHost::ended, this, &HostWindow::showEnd);
}

void HostWindow::toggleConnection()
{
    if (m_host.isRunning()) {
        disconnectFromDevice();
    } else {
        connectToDevice();
    }
}

void HostWindow::connectToDevice()
{
    const bool isUnderWay = m_host.setLink(QUrl(m_url->text())) && m_host.start();
    updateStatus(isUnderWay ? tr("Connecting ...") : m_host.errorString());
}

void HostWindow::disconnectFromDevice()
{
    const StopReport report = m_host.stop();
    updateStatus(tr("Disconnected; %n command(s) were pending.", nullptr, report.pending));
}

void HostWindow::sendCommand()
{
    model_Protocoldata command;
    if (!readCommand(m_command->text(), &command)) {
        updateStatus(tr("A command is two hexadecimal bytes, such as F1/12."));
        return;
    }
    command.baData = m_payload->text().toUtf8();
    const Ticket ticket = m_host.enqueue(command);
    if (ticket == 0) {
        updateStatus(m_host.errorString());
        return;
    }
    const int row = rowOf(ticket);
    m_table->item(row, CommandColumn)->setText(commandText(command));
    m_table->item(row, OutcomeColumn)->setText(tr("waiting"));
}

void HostWindow::showSent(Ticket ticket, int attempt, const model_Protocoldata & /*command*/)
{
    m_table->item(rowOf(ticket), OutcomeColumn)->setText(attempt == 1 ? tr("sent") : tr("sent again"));
}

void HostWindow::showEnd(Ticket ticket, const CommandResult &result)
{
    const int row = rowOf(ticket);
    m_table->item(row, OutcomeColumn)->setText(outcomeName(result.outcome));
    m_table->item(row, ReasonColumn)->setText(result.reason);
    Q_EMIT commandEnded(result.outcome == Outcome::Answered);
}

int HostWindow::rowOf(Ticket ticket)
{
    const QString text = QString::number(ticket);
    // From the end: what changes is nearly always among the latest.
    for (int row = m_table->rowCount() - 1; row >= 0; --row) {
        if (m_table->item(row, TicketColumn)->text() == text) {
            return row;
        }
    }
    const int row = m_table->rowCount();
    m_table->insertRow(row);
    for (int column = 0; column < ColumnCount; ++column) {
        m_table->setItem(row, column, new QTableWidgetItem);
    }
    m_table->item(row, TicketColumn)->setText(text);
    m_table->scrollToBottom();
    return row;
}

void HostWindow::showLink(const LinkStatus &status)
{
    switch (status.state) {
    case LinkState::Closed:
    case LinkState::Connecting:
        return; // told by the button that brought it about
    case LinkState::Up:
        updateStatus(tr("Connected to %1.").arg(m_url->text()));
        Q_EMIT deviceConnected();
        return;
    case LinkState::Lost:
        updateStatus(tr("The link is lost, and is tried again: %1").arg(status.reason));
        return;
    }
}

void HostWindow::updateStatus(const QString &text)
{
    m_status->setText(text);
    m_connect->setText(m_host.isRunning() ? tr("Disconnect") : tr("Connect"));
    m_url->setEnabled(!m_host.isRunning());
}
