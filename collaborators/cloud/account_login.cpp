#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/session.h"
#include "collaborators/cloud/text.h"
#include "collaborators/cloud/user_space.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

namespace {

CallOutcome FailedInside() {
    CallOutcome outcome;
    outcome.message = "The call could not be made. Look into the log, then try again.";
    return outcome;
}

CallOutcome AskForLogin(const std::wstring& user, const std::wstring& password, Login& login) {
    ControlRequest request;
    request.call = "SignIn";
    request.method = "POST";
    request.route = Wire::kLogin;
    request.body[Wire::kUser] = WireName(user);
    request.body[Wire::kPassword] = WireName(password);
    request.withLogin = false;
    ControlAnswer answer = CallCloud(request);
    CallOutcome outcome = OutcomeOf(answer);
    if (!answer.ok) {
        if (answer.status == 401) outcome.message = "The user name or the password is wrong. Try again.";
        return outcome;
    }
    Login read;
    if (!ReadLogin(answer.text, read)) {
        RefuseAnswer(request.call, answer, L"it holds no token");
        return OutcomeOf(answer);
    }
    login = read;
    AdoptLogin(read);
    return outcome;
}

CallOutcome Leave() {
    ControlRequest request;
    request.call = "SignOut";
    request.method = "POST";
    request.route = Wire::kLogout;
    request.body = Json::Value(Json::objectValue);
    const CallOutcome outcome = OutcomeOf(CallCloud(request));
    ForgetLogin();
    return outcome;
}

}  // namespace

void DriveAccount::Configure(const CloudSettings& settings) {
    SetLimits(settings);
    DropRememberedSpace();
    SetAborted(false);
}

CallOutcome DriveAccount::SignIn(const std::wstring& user, const std::wstring& password, Login& login) {
    return Guarded("SignIn", FailedInside(), [&] {
        const SpaceChanges changes;
        return AskForLogin(user, password, login);
    });
}

void DriveAccount::UseLogin(const Login& login) {
    const SpaceChanges changes;
    AdoptLogin(login);
}

void DriveAccount::OnRefresh(std::function<void(const Login&)> listener) { SetRefreshListener(std::move(listener)); }

CallOutcome DriveAccount::SignOut() {
    return Guarded("SignOut", FailedInside(), [] {
        const SpaceChanges changes;
        return Leave();
    });
}

TransferCounters DriveAccount::Counters() { return CountersNow(); }

TransferCounters DriveAccount::Counters(const std::wstring& fileId) {
    return Guarded("Counters", TransferCounters(), [&] { return CountersOfFile(fileId); });
}

void DriveAccount::Abort() { SetAborted(true); }

}  // namespace Drive::Cloud
