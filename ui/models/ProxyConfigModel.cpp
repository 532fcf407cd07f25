#include "ui/models/ProxyConfigModel.h"

#include "model/identity/Orvane.h"

ProxyConfigModel::ProxyConfigModel(QObject* parent)
    : QObject(parent)
{
}

template <typename T>
void ProxyConfigModel::set(T& field, const T& value, void (ProxyConfigModel::*changed)())
{
    if (field == value)
        return;
    field = value;
    emit(this->*changed)();
}

void ProxyConfigModel::setUseProxy(bool value) { set(useProxy_, value, &ProxyConfigModel::useProxyChanged); }
void ProxyConfigModel::setTypeDirect(bool value) { set(typeDirect_, value, &ProxyConfigModel::typeProxy); }
void ProxyConfigModel::setTypeNative(bool value) { set(typeNative_, value, &ProxyConfigModel::typeProxy); }
void ProxyConfigModel::setTypeManual(bool value) { set(typeManual_, value, &ProxyConfigModel::typeProxy); }
void ProxyConfigModel::setServer(const QString& value) { set(server_, value, &ProxyConfigModel::useProxyChanged); }
void ProxyConfigModel::setPort(const QString& value) { set(port_, value, &ProxyConfigModel::useProxyChanged); }
void ProxyConfigModel::setPreAuth(bool value) { set(preAuth_, value, &ProxyConfigModel::useProxyChanged); }

void ProxyConfigModel::setPtrOrvane(Orvane* ptrOrvane)
{
    orvane_ = ptrOrvane;
    load();
}

void ProxyConfigModel::cancelProxyConfig()
{
    load();
}

void ProxyConfigModel::load()
{
    const orvane::model::ProxySettings settings = Orvane::loadProxySettings();
    useProxy_ = settings.enable;
    preAuth_ = settings.initialAuthenticate;
    typeDirect_ = settings.mode == L"1";
    typeNative_ = settings.mode == L"2";
    typeManual_ = settings.mode == L"3";
    // "host:port"; a text without a colon goes whole into both fields.
    const QString address = QString::fromStdWString(settings.addressHttps);
    const int colon = address.indexOf(QLatin1Char(':'));
    server_ = colon < 0 ? address : address.left(colon);
    port_ = colon < 0 ? address : address.mid(colon + 1);
    emit useProxyChanged();
    emit typeProxy();
}

void ProxyConfigModel::saveProxyConfig()
{
    orvane::model::ProxySettings settings;
    settings.enable = useProxy_;
    settings.initialAuthenticate = preAuth_;
    // With no type ticked the address typed in is what counts.
    settings.mode = typeDirect_ ? L"1" : typeNative_ ? L"2" : L"3";
    settings.addressHttps = (server_ + QLatin1Char(':') + port_).toStdWString();
    settings.addressHttp.clear();
    settings.bypass.clear();
    settings.userName.clear();
    settings.password.clear();
    Orvane::saveProxySettings(settings);
}
