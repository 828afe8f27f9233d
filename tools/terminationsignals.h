// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>

/// Turns SIGINT, SIGTERM and SIGHUP into a Qt signal, so that a command can end in good order; a
/// reader of standard output that has gone becomes SIGPIPE in the same way. Construct it before the
/// first use of the bus: threads that run already would still be ended by the signals.
class TerminationSignals : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignals(QObject *parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received(int number);

private:
    void readSignal();

    int m_signalFile = -1;
};
