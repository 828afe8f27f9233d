// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "configuration/places.h"
#include "positioning/cacheformat.h"

#include <QDebug>
#include <QDir>
#include <QFile>

void PositionAdaptor::writeCache() const
{
    QFile file(cacheFilePath);
    if (!file.open(QIODevice::WriteOnly)) {
        qWarning() << "Could not open file for writing:" << file.errorString();
        return;
    }

    // Where somebody is, is nobody else's business.
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.write(cacheContent(state->lastPosition));
}

void PositionAdaptor::readCache()
{
    const QString directory = QString::fromLatin1(Places::sharedDirectory);
    if (!QDir(directory).exists()) {
        if (!QDir().mkpath(directory))
            qWarning().noquote() << "Could not create " << directory;
        return;
    }

    QFile file(cacheFilePath);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning() << "Could not open file for reading:" << file.errorString();
        return;
    }

    state->lastPosition = cachedPosition(file.read(cacheSize));
}
