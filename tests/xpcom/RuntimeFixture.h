// Starts the runtime for one test and shuts it down afterwards.
#pragma once

#include <gtest/gtest.h>

#include "nsCOMPtr.h"
#include "nsIComponentManager.h"
#include "nsIComponentRegistrar.h"
#include "nsIServiceManager.h"
#include "nsXPCOM.h"

class RuntimeTest : public ::testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(NS_InitXPCOM2(getter_AddRefs(mServices), nullptr, nullptr), NS_OK);
    ASSERT_EQ(NS_GetComponentManager(getter_AddRefs(mComponents)), NS_OK);
    ASSERT_EQ(NS_GetComponentRegistrar(getter_AddRefs(mRegistrar)), NS_OK);
  }
  void TearDown() override {
    if (mRunning)
      Shutdown();
  }
  void Shutdown() {
    mRegistrar = nullptr;
    mComponents = nullptr;
    nsIServiceManager* services = nullptr;
    mServices.forget(&services);
    EXPECT_EQ(NS_ShutdownXPCOM(services), NS_OK);
    mRunning = false;
  }

  nsCOMPtr<nsIServiceManager> mServices;
  nsCOMPtr<nsIComponentManager> mComponents;
  nsCOMPtr<nsIComponentRegistrar> mRegistrar;
  bool mRunning = true;
};
