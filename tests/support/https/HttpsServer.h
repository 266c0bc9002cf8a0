#pragma once

#include "TestFiles.h"

#include <QProcess>

#include <memory>
#include <string>

namespace frameflow {

// How a server shows who it is.
enum class Certificate
{
    Good, // for "localhost", by the test's authority
    OfAnotherHost,
    Expired,
    OfAStranger, // for "localhost", by an authority that nobody knows
};

// An authority that lives as long as the test, and the certificates that it gave. Fails the program (qFatal) when they
// cannot be made.
class TestAuthority
{
public:
    TestAuthority();

    std::string certificateFile() const { return mFolder.pathOf("authority.pem").toStdString(); }
    QByteArray serverCertificate(Certificate kind) const;
    QByteArray serverKey() const { return mFolder.pathOf("server.key"); }

private:
    void makeAuthority(const QByteArray& name) const;
    void sign(const QByteArray& name, const QByteArray& authority, const QByteArray& host, int days) const;

    TestFolder mFolder;
};

// A web server on loopback, as a process of its own: it answers while the test's thread waits. The behaviours are those
// of https-server.py. It ends with its object.
class HttpsServer
{
public:
    // Fails the program (qFatal) when it does not start.
    HttpsServer(const TestAuthority& authority, const QString& behaviour, const QString& argument = {},
        Certificate certificate = Certificate::Good);
    ~HttpsServer();
    HttpsServer(const HttpsServer&) = delete;
    HttpsServer& operator=(const HttpsServer&) = delete;

    // With its port.
    std::string host() const { return "localhost:" + std::to_string(mPort); }
    int port() const { return mPort; }
    // The first lines of the requests so far. Those that were made when a client has its answer are among them.
    QList<QByteArray> requests();
    int connections();

private:
    QList<QByteArray> lines();

    QProcess mProcess;
    int mPort = 0;
    QByteArray mSaid;
};

} // namespace frameflow
