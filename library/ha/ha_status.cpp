// The state of the executor's high-availability state machine.
#include "library/native.h"
#include "library/shared/replies.h"
#include "library/shared/settings.h"
#include "library/shared/statuses.h"

using namespace rk;

JNIEXPORT jint NATIVE(getHAInfoNative)(JNIEnv *env, jobject, jobject status) {
    if (!requireObject(env, status, "haStatus"))
        return kStatusOther;
    HaStatusRecord &record = ucb.haStatus;
    record.address = networkAddress(intFromJava(env, status, "haFsmAddress"));
    if (const int32_t result = send(record, Command::readHighAvailability); result != 0)
        return result;
    SetJavaIntField(env, status, "haFsmMode", javaInt(record.mode));
    SetJavaIntField(env, status, "haFsmAddress", javaInt(record.address));
    SetJavaIntField(env, status, "haRole", record.role);
    SetJavaIntField(env, status, "haStrategy", record.strategy);
    SetJavaIntField(env, status, "haState", record.state);
    SetJavaIntField(env, status, "haSubstate", record.substate);
    SetJavaIntField(env, status, "haPort", record.port);
    SetJavaIntField(env, status, "haHBCount", record.heartbeatCount);
    SetJavaIntField(env, status, "haPeer", record.peer);
    columnToJava(env, status, "haLocal_Address", record.heartbeats, record.heartbeatCount, &HeartbeatEntry::local);
    columnToJava(env, status, "haRemote_Address", record.heartbeats, record.heartbeatCount, &HeartbeatEntry::remote);
    columnToJava(env, status, "haStatus", record.heartbeats, record.heartbeatCount, &HeartbeatEntry::status);
    SetJavaIntField(env, status, "haReachCount", record.reachCount);
    columnToJava(env, status, "haAddress", record.reachTargets, record.reachCount, &ReachEntry::address);
    columnToJava(env, status, "haMask", record.reachTargets, record.reachCount, &ReachEntry::mask);
    columnToJava(env, status, "haType", record.reachTargets, record.reachCount, &ReachEntry::type);
    columnToJava(env, status, "haAddress_status", record.reachTargets, record.reachCount, &ReachEntry::localStatus);
    columnToJava(env, status, "haRemote_status", record.reachTargets, record.reachCount, &ReachEntry::remoteStatus);
    columnToJava(env, status, "haLTimeStamp", record.reachTargets, record.reachCount, &ReachEntry::localTimeStamp);
    columnToJava(env, status, "haRTimeStamp", record.reachTargets, record.reachCount, &ReachEntry::remoteTimeStamp);
    return 0;
}
