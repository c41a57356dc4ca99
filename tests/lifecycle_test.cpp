// SPDX-License-Identifier: Apache-2.0
#include "SmartControl_bus_dev.h"
#include "SmartControl_bus_platform.h"
#include "SmartControl_func.h"
#include "SmartControl_func_object.h"
#include "module_fixture.h"

extern "C" {
int c_application_init(int (*recv_msg)(tqDevSDK_SmartControl_msg_to_dev *));
int c_application_report_event(UINT32 channel, UINT32 value);
}

namespace {

// Starts without an initialised module.
class LifecycleTest : public ModuleTest {
protected:
    void SetUp() override {}

    // What a call of init or fini leaves.
    Outcome After(int result, int expected) {
        EXPECT_EQ(result, expected);
        return {Take(), TakeLog()};
    }
    Outcome AfterInit(int expected = 0) { return After(Init(), expected); }
    Outcome AfterFini() { return After(tqDevSDK_SmartControl_fini(), 0); }
};

// Calls of host functions, each as often as it has arguments.
Lines Calls(const std::vector<std::pair<std::string, Lines>> &functions) {
    Lines calls;
    for (const auto &[function, all_arguments] : functions) {
        for (const std::string &arguments : all_arguments) {
            calls.push_back(function + arguments);
        }
    }
    return calls;
}

const Lines kRegistrations = Calls({
    {"tqDevSDK_report_status_init", {""}},
    {"tqDevSDK_report_status_register ", {"74", "75", "76", "77", "78", "125", "126"}},
    {"tqDevSDK_Shadow_DomainReg", {" 7000 InterconnectionRule", "_v3 TQ00000001 Video 1 TQLink SceneLink LocalLink"}},
    {"tqdev_sdk_kernel_extend_load ", {"7000 smart_control V2.0.0"}},
    {"tq_model_domain_reg ", {"TQLink"}},
    {"tqDevSDK_Common_Module_RedirectReg device_",
     {"ICR_DSS 18829 7000", "screen_overtime 18829 7000", "video_time 18829 7000", "auto_rouse 18829 7000", "screen_lightness 18829 7000"}},
});

const Lines kRemovals = Calls({
    {"tqDevSDK_Shadow_DomainDereg ", {"7000"}},
    {"tqdev_dclog_DeregisterMod ", {"1050"}},
    {"tq_model_domain_dereg ", {"TQLink"}},
    {"tqDevSDK_Shadow_DomainDereg_v3 ", {"TQ00000001 Video 1 TQLink"}},
    {"tqDevSDK_report_status_unregister ", {"74", "75", "76", "77", "78", "125", "126"}},
    {"tqDevSDK_report_status_fini", {""}},
});

TEST_F(LifecycleTest, RegistersAndRemovesInOrderAndOnlyOnce) {
    EXPECT_EQ(After(tqDevSDK_SmartControl_init(nullptr), 3), (Outcome{{}, {"error: NULL input param!"}}));
    EXPECT_EQ(AfterFini(), (Outcome{{}, {"info: Smart Control domain has not inited."}}));
    EXPECT_EQ(AfterInit(), (Outcome{kRegistrations, {"debug: SmartControl_extern_init"}}));
    EXPECT_EQ(AfterInit(), (Outcome{{}, {"info: Smart Control domain has inited."}}));
    EXPECT_EQ(After(tqDevSDK_SmartControl_init(nullptr), 0), (Outcome{{}, {"info: Smart Control domain has inited."}}));
    EXPECT_EQ(AfterFini(), (Outcome{kRemovals, {}}));
    EXPECT_EQ(AfterFini(), (Outcome{{}, {"info: Smart Control domain has not inited."}}));
}

TEST_F(LifecycleTest, FailedKernelRegistrationStaysInitialisedUntilFini) {
    tqhost::Fail("tqdev_sdk_kernel_extend_load", 9, 1);
    Lines done(kRegistrations.begin(), kRegistrations.begin() + 11);
    done.back() += " = 9";
    EXPECT_EQ(AfterInit(2), (Outcome{done,
                                     {"debug: SmartControl_extern_init", "error: Failed to extend load of smart control module!",
                                      "error: Failed to init extern func in smart control domain."}}));
    EXPECT_EQ(AfterInit().sent, Lines{}) << "not tried again";
    EXPECT_EQ(AfterFini().sent.size(), kRemovals.size());
}

TEST_F(LifecycleTest, OtherFailuresAreLoggedAtMost) {
    for (const Lines &lines : {kRegistrations, kRemovals}) {
        for (const std::string &line : lines) {
            const std::string function = line.substr(0, line.find(' '));
            ASSERT_TRUE(tqhost::Fail(function, function == "tqdev_sdk_kernel_extend_load" ? 0 : 5)) << function;
        }
    }
    Outcome outcome = AfterInit();
    EXPECT_EQ(outcome.sent.size(), kRegistrations.size());
    EXPECT_EQ(outcome.log, Calls({{"error: Failed to register status item:", {"74", "75", "76", "77", "78", "125", "126"}},
                                  {"error: Failed to register SmartControl shadow service.", {""}},
                                  {"debug: SmartControl_extern_init", {""}},
                                  {"error: Failed to register model domain.", {""}},
                                  {"error: SmartControl failed to register type: key of device_",
                                   {"ICR_DSS.", "screen_overtime.", "video_time.", "auto_rouse.", "screen_lightness."}}}));
    outcome = AfterFini();
    EXPECT_EQ(outcome.sent.size(), kRemovals.size());
    EXPECT_EQ(outcome.log, (Lines{"error: Failed to deregister SmartControl shadow service.", "error: tq_model_domain_dereg err"}));
}

TEST_F(LifecycleTest, ShadowKeysAreRegisteredAsTheServiceExpects) {
    for (const int reset : {3, 0}) {
        Init(reset);
        const tqDevSDK_Shadow_Service_S rules = *tqhost::ShadowService("InterconnectionRule");
        EXPECT_EQ(std::tuple(rules.usResetReportAll, rules.usSrvType, rules.usNeedReport), std::tuple(reset, tqDevSDK_Shadow_Service_Type_Status, 1));
        tqDevSDK_SmartControl_fini();
    }
}

TEST_F(LifecycleTest, MissingOrLongSubSerialIsCutToTheResource) {
    tqhost::SetDeviceInfo("dev_subserial", std::nullopt);
    EXPECT_EQ(AfterInit().sent[9], "tqDevSDK_Shadow_DomainReg_v3  Video 1 TQLink SceneLink LocalLink");
    tqhost::SetDeviceInfo("dev_subserial", std::string(100, 's'));
    EXPECT_EQ(AfterFini().sent[3], "tqDevSDK_Shadow_DomainDereg_v3 " + std::string(71, 's') + " Video 1 TQLink = -1")
        << "the host knows the resource by its serial";
}

TEST_F(LifecycleTest, SequenceNumbersStartAgainAfterFini) {
    const std::string body = " response 0 V2.0.0 " + Printed(R"({"channelNo":1,"value":2})");
    EXPECT_EQ(c_application_report_event(1, 2), 0) << "reports need no init";
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(c_application_init(init_info.cb.recv_msg), 0);
        tqDevSDK_SmartControl_fini();
        Take();
        EXPECT_EQ(c_application_report_event(1, 2), 0);
        EXPECT_EQ(c_application_report_event(1, 2), 0);
        EXPECT_EQ(Take(), (Lines{"command 19986 seq 0" + body, "command 19986 seq 1" + body}));
    }
}

TEST_F(LifecycleTest, BadMessageTypesAreRefused) {
    const tqDevSDK_SmartControl_Event event{};
    tqDevSDK_SmartControl_DclogMsg_S dclog{1, nullptr, 0};
    const tqDevSDK_SmartControl_DclogMsg_S no_record{0, nullptr, 0};
    EXPECT_EQ(tqDevSDK_SmartControl_Msg2Server(nullptr), -1);
    EXPECT_EQ(tqDevSDK_SmartControl_PushDclog(nullptr), -1);
    EXPECT_EQ(Report(TQDEVSDK_SMART_CONTROL_MSG_TO_SERVER_MAX, &event), -1);
    EXPECT_EQ(Report(-1, &event), -1);
    EXPECT_EQ(tqDevSDK_SmartControl_PushDclog(&dclog), -1);
    EXPECT_EQ(tqDevSDK_SmartControl_PushDclog(&no_record), -1);
    const std::string invalid = "error: Invalid msg type of SmartControl_";
    const std::string failed = "error: Failed to exec ";
    EXPECT_EQ(TakeLog(), (Lines{"error: NULL input param!", "error: NULL input param!", invalid + "Msg2Server:0x7",
                                failed + "msg2server type cmd:0x7", invalid + "Msg2Server:0xffffffff", failed + "msg2server type cmd:0xffffffff",
                                invalid + "DCLogMsg:1", failed + "push dclog of smart control, cmd type:1", "error: NULL input param.",
                                failed + "push dclog of smart control, cmd type:0"}));
}

TEST_F(LifecycleTest, UserInitAndFiniAreGuardedOnTheirOwnAndTheDeviceBusIsInert) {
    SmartControl_user_fini();
    SmartControl_user_init(&init_info.cb);
    Take();
    SmartControl_user_init(&init_info.cb);
    EXPECT_EQ(SmartControl_bus_dev_init(), 0);
    EXPECT_EQ(SmartControl_bus_dev_fini(), 0);
    EXPECT_EQ(SmartControl_send_msg_to_dev(nullptr), 0);
    EXPECT_EQ(SmartControl_recv_brimo_msg(nullptr), 0);
    EXPECT_EQ(Take(), Lines{});
    EXPECT_EQ(TakeLog(), (Lines{"warning: Smart Control Module has not been inited.", "info: Already inited."}));
    SmartControl_user_fini();
    EXPECT_EQ(SmartControl_get_callback()->recv_msg, nullptr);
}

// ---- The platform bus where no command reaches it ----

TEST_F(LifecycleTest, RequestAndResponseArePaired) {
    const auto handle = [](const char *req, char *rsp, UINT32 rsp_size) {
        EXPECT_EQ(std::string(rsp, rsp_size), std::string(1024, '\0'));
        memcpy(rsp, "hello", 6);
        return atoi(req);
    };
    const auto serve = [&](int answer, const std::string &version, const char *result) {
        return SmartControl_BusPlatform_Handle_ReqAndRsp(result, 1, answer, version.c_str(), 9, handle);
    };
    EXPECT_EQ(serve(20035, std::string(40, 'v'), "0"), 0);
    EXPECT_EQ(serve(20035, "v", "3"), 3);
    EXPECT_EQ(serve(0, "v", "0"), 0);
    tqhost::Fail("tqdev_sdk_kernel_send", 0x12, 1);
    EXPECT_EQ(serve(20035, "v", "0"), -1);
    EXPECT_EQ(Take(), Lines{"command 20035 seq 9 response 1 " + std::string(31, 'v') + " hello"});
    EXPECT_EQ(TakeLog(),
              (Lines{"error: Failed to handle ReqAndRsp:code=0x3", "error: Invalid rsp_cmd:0", "error: Failed to send msg to platform:error=0x12"}));
}

TEST_F(LifecycleTest, RawModelMessagesCarryTheirDescription) {
    SmartControl_ModelInfo_S model;
    EXPECT_EQ((std::vector{sizeof model.method, sizeof model.msg_type, sizeof model.resource_id, sizeof model.resource_type, sizeof model.domain,
                           sizeof model.identifier}),
              (std::vector<std::size_t>{128, 64, 64, 64, 64, 64}));
    char letter = 'a';
    const auto fill = [&](auto &...fields) { (memset(fields, letter++, sizeof fields), ...); };
    fill(model.method, model.msg_type, model.resource_id, model.resource_type, model.domain, model.identifier); // none is terminated
    EXPECT_EQ(SmartControl_send_msg_to_platform_v3(&model, "body!", 4), 0);
    std::string line = "raw model";
    for (const auto &[width, text] : {std::pair(127, " a"), {63, " b"}, {63, " c"}, {63, " d"}, {64, " e"}, {62, "/f"}}) {
        line += text[0] + std::string(static_cast<std::size_t>(width), text[1]);
    }
    EXPECT_EQ(Take(), Lines{line + " seq 0 response 0 qos 0   4 body"});
    tqhost::Fail("tqdev_sdk_kernel_send_v3", 77, 1);
    EXPECT_EQ(SmartControl_send_msg_to_platform_v3(&model, "", 0), 77);
    EXPECT_EQ(SmartControl_send_msg_to_platform_v3(nullptr, "", 0), -1);
}

} // namespace
