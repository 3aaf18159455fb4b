// SPDX-License-Identifier: GPL-3.0-or-later
#include "cloud/KeychainStore.h"

#include <QSemaphore>
#include <QThread>
#include <QStringDecoder>
#include <memory>
#include <qt6keychain/keychain.h>

struct KeychainStore::Outcome {
    bool finished = false;
    QKeychain::Error error = QKeychain::OtherError;
    QByteArray data;
};

namespace {

// What the waiting caller and the job's thread share; outlives a caller that gave up.
struct PendingJob {
    QSemaphore done;
    QKeychain::Error error = QKeychain::OtherError;
    QByteArray data;
};

} // namespace

// One keychain thread for the process, started by the first job and never stopped: libsecret
// may still hold callbacks on it after a job reported, so ending it under a store that goes
// away is not safe.
static QObject *keychainWorker()
{
    static QObject *worker = [] {
        auto *thread = new QThread;
        thread->setObjectName(QStringLiteral("Keychain"));
        auto *object = new QObject;
        object->moveToThread(thread);
        thread->start();
        return object;
    }();
    return worker;
}

KeychainStore::KeychainStore(const QString &service, int timeoutMs)
    : m_service(service)
    , m_timeoutMs(timeoutMs)
{
}

KeychainStore::Outcome KeychainStore::run(Operation operation, const QString &account, const QString &text)
{
    auto pending = std::make_shared<PendingJob>();
    const QString service = m_service;
    QMetaObject::invokeMethod(keychainWorker(), [=] {
        QKeychain::Job *job = nullptr;
        if (operation == Operation::read) {
            job = new QKeychain::ReadPasswordJob(service);
        } else if (operation == Operation::write) {
            auto *write = new QKeychain::WritePasswordJob(service);
            write->setTextData(text); // "plaintext" items, readable in Seahorse
            job = write;
        } else {
            job = new QKeychain::DeletePasswordJob(service);
        }
        job->setAutoDelete(true);
        job->setInsecureFallback(false); // never a plain-text file instead of the keyring
        job->setKey(account);
        QObject::connect(job, &QKeychain::Job::finished, job, [pending](QKeychain::Job *finished) {
            pending->error = finished->error();
            if (auto *read = qobject_cast<QKeychain::ReadPasswordJob *>(finished))
                pending->data = read->binaryData();
            pending->done.release();
        });
        job->start();
    });
    if (!pending->done.tryAcquire(1, m_timeoutMs))
        return {};
    return {true, pending->error, pending->data};
}

std::optional<QString> KeychainStore::get(const QString &account)
{
    const Outcome outcome = run(Operation::read, account);
    if (!outcome.finished || outcome.error != QKeychain::NoError)
        return std::nullopt; // not found, denied, locked or no answer
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8(outcome.data);
    if (utf8.hasError())
        return std::nullopt;
    return text;
}

void KeychainStore::set(const std::optional<QString> &value, const QString &account)
{
    if (!value) {
        remove(account);
        return;
    }
    // The Secret Service's store replaces the item with the same attributes in place and
    // creates it when there is none, so one write both updates and adds.
    run(Operation::write, account, *value);
}

void KeychainStore::remove(const QString &account)
{
    run(Operation::remove, account); // deleting a missing item is not an error
}
