// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QNetworkRequest>
#include <QObject>
#include <QVariantMap>

#include <memory>

QT_BEGIN_NAMESPACE
class QNetworkAccessManager;
QT_END_NAMESPACE

/// Puts an API key to the web service and reports what it thinks of it. Several checks may be under
/// way.
class KeyValidator : public QObject
{
    Q_OBJECT

public:
    enum KeyStatus {
        KeyNetworkError = 0, ///< the key's validity stays unknown
        KeyChecking = 1, ///< a check has started
        KeyInvalid = 2, ///< the key is empty, or the service refused it
        KeyValid = 3, ///< the service answered without error
    };
    Q_ENUM(KeyStatus)

    /// Checks nothing yet.
    explicit KeyValidator(QObject *parent);
    ~KeyValidator() override;

    /// Starts a check of key. The outcome arrives through statusChanged(): for an empty key
    /// before this returns, else after KeyChecking and about 10 s later at most.
    void validateKey(const QString &key);

Q_SIGNALS:
    /// validatedKey is the key as the request's URL carried it: up to the next "key=", if it
    /// holds one.
    void statusChanged(KeyValidator::KeyStatus status, const QString &validatedKey);
    /// A check begins, so the process should not end for want of clients.
    void needRestartTimer();

private Q_SLOTS:
    void replyFinished();

private:
    void postValidationRequest();

    std::unique_ptr<QNetworkAccessManager> networkAccessManager;
    QVariantMap requestDocument;
    QNetworkRequest request;
};
