#include "ui/models/DeviceOutcome.h"

QString DeviceOutcome::shownText(const std::wstring& text, const std::wstring& otherwise)
{
    if (!text.empty())
        return QString::fromStdWString(text);
    return QString::fromStdWString(otherwise.substr(0, 8));
}

std::vector<QString> DeviceOutcome::unanswered(const std::vector<orvane::model::DeviceAuthorization>& results)
{
    std::vector<QString> names;
    for (const orvane::model::DeviceAuthorization& result : results)
        if (!result.answered)
            names.push_back(QString::fromStdWString(result.deviceName));
    return names;
}

QString DeviceOutcome::listText(const std::vector<QString>& unanswered)
{
    if (unanswered.empty())
        return QStringLiteral("Concluído");
    QString text = QStringLiteral("Atenção !! os seguintes dispositivos não responderam a solicitação :\n");
    for (const QString& name : unanswered)
        text += name + QLatin1Char('\n');
    return text;
}
