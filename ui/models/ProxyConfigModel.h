#pragma once

#include <QObject>
#include <QString>

namespace orvane::model { class Orvane; }
using orvane::model::Orvane;

// The proxy tab's form: the few controls it has, translated to and from the
// eight settings of proxy.properties. Saving writes what the form cannot
// show (the plain-HTTP address, the bypass list, the credentials) empty.
class ProxyConfigModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool useProxy READ useProxy WRITE setUseProxy NOTIFY useProxyChanged)
    Q_PROPERTY(bool typeDirect READ typeDirect WRITE setTypeDirect NOTIFY typeProxy)
    Q_PROPERTY(bool typeNative READ typeNative WRITE setTypeNative NOTIFY typeProxy)
    Q_PROPERTY(bool typeManual READ typeManual WRITE setTypeManual NOTIFY typeProxy)
    Q_PROPERTY(QString server READ server WRITE setServer NOTIFY useProxyChanged)
    Q_PROPERTY(QString port READ port WRITE setPort NOTIFY useProxyChanged)
    Q_PROPERTY(bool preAuth READ preAuth WRITE setPreAuth NOTIFY useProxyChanged)
    Q_PROPERTY(bool showProxyDisplay READ showProxyDisplay NOTIFY useProxyChanged)

public:
    explicit ProxyConfigModel(QObject* parent = nullptr);

    // The form binds both ways, so each write tells only on a real change.
    bool useProxy() const { return useProxy_; }
    void setUseProxy(bool value);
    bool typeDirect() const { return typeDirect_; }
    void setTypeDirect(bool value);
    bool typeNative() const { return typeNative_; }
    void setTypeNative(bool value);
    bool typeManual() const { return typeManual_; }
    void setTypeManual(bool value);
    QString server() const { return server_; }
    void setServer(const QString& value);
    QString port() const { return port_; }
    void setPort(const QString& value);
    bool preAuth() const { return preAuth_; }
    void setPreAuth(bool value);
    // The tab is always offered.
    bool showProxyDisplay() const { return true; }

signals:
    void useProxyChanged();
    void typeProxy();

public slots:
    void saveProxyConfig();
    // Drops unsaved edits: the form is read again from the file.
    void cancelProxyConfig();
    // Also (re)loads the form: the first call comes before the screens.
    void setPtrOrvane(Orvane* ptrOrvane);

private:
    void load();
    template <typename T>
    void set(T& field, const T& value, void (ProxyConfigModel::*changed)());

    bool useProxy_ = false;
    bool typeDirect_ = false;
    bool typeNative_ = false;
    bool typeManual_ = false;
    QString server_;
    QString port_;
    bool preAuth_ = false;
    Orvane* orvane_ = nullptr;
};
