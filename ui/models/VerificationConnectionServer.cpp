#include "ui/models/VerificationConnectionServer.h"

VerificationConnectionServer::VerificationConnectionServer(QObject* parent)
    : QObject(parent)
{
}

void VerificationConnectionServer::setOffLine(bool value)
{
    offLine_ = value;
    emit changedOffLine();
}

void VerificationConnectionServer::writeOffLine(bool value)
{
    if (offLine_ == value)
        return;
    offLine_ = value;
    emit changedOffLine();
}
