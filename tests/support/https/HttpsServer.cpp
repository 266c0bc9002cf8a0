#include "HttpsServer.h"

namespace frameflow {

namespace {

void runOpenssl(const QList<QByteArray>& arguments)
{
    QStringList texts;
    for (const QByteArray& argument : arguments) {
        texts.append(QString::fromUtf8(argument));
    }
    QProcess process;
    process.start(QStringLiteral("openssl"), texts);
    if (!process.waitForFinished() || process.exitCode() != 0) {
        qFatal("openssl: %s", process.readAllStandardError().constData());
    }
}

const QList<QByteArray> newKey{"-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"};

QByteArray nameOf(Certificate kind)
{
    switch (kind) {
    case Certificate::Good:
        return "good";
    case Certificate::OfAnotherHost:
        return "other";
    case Certificate::Expired:
        return "expired";
    case Certificate::OfAStranger:
        return "stranger";
    }
    return {};
}

} // namespace

TestAuthority::TestAuthority()
{
    makeAuthority("authority");
    makeAuthority("unknown");
    runOpenssl(QList<QByteArray>{
                   "req", "-subj", "/CN=test server", "-keyout", serverKey(), "-out", mFolder.pathOf("server.csr")}
        + newKey);
    constexpr int tomorrow = 1;
    constexpr int yesterday = -1;
    sign(nameOf(Certificate::Good), "authority", "localhost", tomorrow);
    sign(nameOf(Certificate::OfAnotherHost), "authority", "another.example", tomorrow);
    sign(nameOf(Certificate::Expired), "authority", "localhost", yesterday);
    sign(nameOf(Certificate::OfAStranger), "unknown", "localhost", tomorrow);
}

QByteArray TestAuthority::serverCertificate(Certificate kind) const
{
    return mFolder.pathOf(nameOf(kind) + ".pem");
}

void TestAuthority::makeAuthority(const QByteArray& name) const
{
    runOpenssl(QList<QByteArray>{"req", "-x509", "-days", "1", "-subj", "/CN=" + name, "-keyout",
                   mFolder.pathOf(name + ".key"), "-out", mFolder.pathOf(name + ".pem")}
        + newKey);
}

void TestAuthority::sign(const QByteArray& name, const QByteArray& authority, const QByteArray& host, int days) const
{
    const QByteArray extensions = mFolder.addFile(name + ".ext", "subjectAltName=DNS:" + host);
    runOpenssl({"x509", "-req", "-in", mFolder.pathOf("server.csr"), "-CA", mFolder.pathOf(authority + ".pem"),
        "-CAkey", mFolder.pathOf(authority + ".key"), "-CAcreateserial", "-days", QByteArray::number(days), "-extfile",
        extensions, "-out", mFolder.pathOf(name + ".pem")});
}

HttpsServer::HttpsServer(
    const TestAuthority& authority, const QString& behaviour, const QString& argument, Certificate certificate)
{
    qputenv("no_proxy", "localhost"); // whatever the machine's way to the web is
    mProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    mProcess.start(QStringLiteral("python3"),
        {QStringLiteral(HTTPS_SERVER), QString::fromUtf8(authority.serverCertificate(certificate)),
            QString::fromUtf8(authority.serverKey()), behaviour, argument});
    while (!mSaid.contains('\n')) {
        if (!mProcess.waitForReadyRead(20000)) {
            qFatal("the web server does not start");
        }
        mSaid += mProcess.readAll();
    }
    mPort = mSaid.left(mSaid.indexOf('\n')).toInt();
}

HttpsServer::~HttpsServer()
{
    mProcess.closeWriteChannel();
    if (!mProcess.waitForFinished(5000)) {
        mProcess.kill();
        mProcess.waitForFinished();
    }
}

QList<QByteArray> HttpsServer::lines()
{
    // What it said before it answered is in the pipe.
    mProcess.waitForReadyRead(0);
    mSaid += mProcess.readAll();
    QList<QByteArray> all = mSaid.split('\n');
    all.removeFirst();
    all.removeLast();
    return all;
}

QList<QByteArray> HttpsServer::requests()
{
    QList<QByteArray> all = lines();
    all.removeAll("connection");
    return all;
}

int HttpsServer::connections()
{
    return static_cast<int>(lines().count("connection"));
}

} // namespace frameflow
