// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "scene.h"

#include <QTest>

#include <functional>

// One thing done to the daemon.
struct Row
{
    enum class Speed { Quick, Slow };
    // What has to be so when the row is over: positions come, calls are answered, or the daemon has
    // ended as the row says.
    enum class After { Positions, Answers, Ended };

    QString what;
    // Starts the daemon, does it and checks what is seen, with the macros of QtTest.
    std::function<void(Scene &)> act;
    Speed speed = Speed::Quick;
    After after = After::Positions;
};

Q_DECLARE_METATYPE(Row)

QVector<Row> platformRows();
QVector<Row> webRows();
QVector<Row> fileRows();
QVector<Row> busRows();
QVector<Row> clockRows();
QVector<Row> processRows();
