#include "ui/models/VerificationConnectionServer.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

TEST(VerificationConnectionServer, TheSlotAlwaysTellsThePropertyOnlyOnChange)
{
    VerificationConnectionServer server;
    QSignalSpy changed(&server, &VerificationConnectionServer::changedOffLine);
    EXPECT_FALSE(server.isOffLine());

    server.setOffLine(false);
    EXPECT_EQ(changed.count(), 1);
    server.setOffLine(true);
    server.setOffLine(true);
    EXPECT_TRUE(server.isOffLine());
    EXPECT_EQ(changed.count(), 3);

    server.setProperty("isOffLine", true);
    EXPECT_EQ(changed.count(), 3);
    server.setProperty("isOffLine", false);
    EXPECT_FALSE(server.isOffLine());
    EXPECT_EQ(changed.count(), 4);
}
