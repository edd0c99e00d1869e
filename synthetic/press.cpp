// The button's pipeline: sensing, input packets, amplifier, haptics, and the checkpoints that its latency is measured
// by.
#include <synthetic/flows.h>

#include <algorithm>

namespace vel::synthetic {

namespace {

constexpr std::uint32_t threadOfButton = 7;
constexpr std::uint32_t threadOfAmplifier = 9;

void action(Recorder& recorder, std::string_view component, std::string_view name, std::uint32_t argument = 0) {
  const std::uint32_t thread = component == "amp" ? threadOfAmplifier : threadOfButton;
  recorder.add({"zorb", component, "trace", "event"}).action(name).number("thread", thread).number("arg1", argument);
  recorder.wait(15, 240);
}

void checkpoint(Recorder& recorder, std::string_view name) {
  const std::uint64_t clock = recorder.clock();
  recorder.add({"zorb", "latency", name, "event"})
      .action(name)
      .number("thread", threadOfButton)
      .number("arg1", clock & 0xFFFFFFFF)
      .number("arg2", clock >> 32);
  recorder.wait(5, 60);
}

struct Finger {
  unsigned pressCount = 0;
  bool isLong = false;
  bool isDown = false;
  bool isTerminal = false;
  unsigned stage = 0;
  std::uint32_t force = 0; // with 16 fraction bits
};

void inputPacket(Recorder& recorder, const Finger& finger) {
  Random& random = recorder.random();
  // Three fixed-point axes, rarely whole numbers; the third is negative or 0.
  recorder.add({"corvane", "corvane", "data-in", "event"})
      .number("arg1", finger.force)
      .number("arg2", finger.force / 3 + random.below(4096))
      .number("arg3", 0U - random.below(65536))
      .number("arg4", finger.stage)
      .number("arg5", recorder.clock() & 0xFFFFFFFF);
  recorder.wait(20, 90);
  recorder.add({"zorb", "zorb", "input-packet", "short-data"})
      .number("reportID", 0xE0)
      .number("buttonState", finger.isDown ? 1 : 0)
      .number("fingerDetect", 1)
      .number("pressCount", finger.pressCount)
      .number("longPress", finger.isLong ? 1 : 0)
      .number("terminalEvent", finger.isTerminal ? 1 : 0)
      .number("speed", random.below(4))
      .number("stage", finger.stage)
      .number("stageProgress", finger.force)
      .number("force", finger.force + random.below(512));
  recorder.wait(700, 1300);
}

void statusEvent(Recorder& recorder, const Finger& finger) {
  const std::uint64_t clock = recorder.clock();
  recorder.add({"zorb", "zorb", "status-event", "short-data"})
      .number("status-timestamp", clock & 0xFFFFFFFF)
      .number("fingerState", 1)
      .number("buttonState", finger.isDown ? 1 : 0)
      .number("buttonProgress", finger.force)
      .number("clickCount", finger.pressCount)
      .number("clickCountIsTerminal", finger.isTerminal ? 1 : 0)
      .number("clickIsLong", finger.isLong ? 1 : 0)
      .number("clickSpeed", recorder.random().below(3));
  recorder.wait(20, 80);
}

void buttonContext(Recorder& recorder, const Finger& finger) {
  Draft context = recorder.add({"zorb", "zorb", "context", "zorb-context"});
  context.contextVersion(5)
      .number("ampsEnabled", finger.isDown ? 1 : 0)
      .number("enabled", 1)
      .number("scan_period", finger.isDown ? 1000 : 8000)
      .number("scan_time", recorder.random().between(180, 260))
      .number("fingerDetect", 1)
      .number("buttonState", finger.isDown ? 1 : 0)
      .number("pressCount", finger.pressCount)
      .number("stage", finger.stage);
  recorder.wait(10, 40);
}

void hapticContext(Recorder& recorder) {
  Draft context = recorder.add({"zorb", "halden", "context", "zorb-context"});
  context.contextVersion(7)
      .number("mclk_kip_enabled", 1)
      .number("halden_kip_enabled", 1)
      .number("haldenBusy", 1)
      .number("enableARC", 1)
      .number("mclk_on", 1)
      .number("halden_on", 1)
      .number("ampsState", 3)
      .number("clickState", recorder.random().below(4))
      .number("cl_enable", 1)
      .number("halden_ready", 1);
  recorder.wait(10, 40);
}

constexpr std::uint32_t amplifierRequest = 2;

void commandTimeout(Recorder& recorder, std::uint32_t command, std::uint32_t microseconds) {
  recorder.add({"execution", "command", "timeout", "event"}).number("arg1", command).number("arg2", microseconds);
}

// A request that the amplifier does not answer.
void amplifierTimeout(Recorder& recorder) {
  constexpr std::uint32_t patience = 50000;
  action(recorder, "zorb", "SendAmpRequest", amplifierRequest);
  for (const std::string_view step : {"SetState", "DisabledToPreWarm", "AmpPowerUpPhase1"}) {
    action(recorder, "amp", step, 1);
  }
  recorder.wait(patience, patience + 500);
  commandTimeout(recorder, amplifierRequest, patience);
  recorder.wait(15, 240);
  for (const std::string_view step : {"SoftReset", "PreWarmToDisabled", "AmpPowerDown"}) {
    action(recorder, "amp", step);
  }
}

void wakeAmplifier(Recorder& recorder, bool answers) {
  action(recorder, "zorb", "AmpTurnOn", 1);
  checkpoint(recorder, "ckp_ARCTurnOn");
  if (!answers) {
    amplifierTimeout(recorder);
    return;
  }
  action(recorder, "zorb", "SendAmpRequest", amplifierRequest);
  for (const std::string_view step : {"SetState", "DisabledToPreWarm", "AmpPowerUpPhase1", "AmpPowerUpPhase2",
                                      "AmpPowerUpPhase3", "PreWarmToEnabled", "SetVolume"}) {
    action(recorder, "amp", step, recorder.random().below(16));
  }
  action(recorder, "zorb", "AmpRequestComplete", amplifierRequest);
  checkpoint(recorder, "ckp_ARCReady");
}

void playHaptics(Recorder& recorder) {
  action(recorder, "halden", "StartHalden");
  checkpoint(recorder, "ckp_HaldenStartHaptics");
  hapticContext(recorder);
  recorder.wait(1350, 2300); // the actuator starts
  recorder.waitForHaptic();
  checkpoint(recorder, "ckp_HaldenPlayAsset");
  recorder.wait(9000, 14000);
  action(recorder, "halden", "StartHaldenZORBComplete");
}

// The closed loop never settles: the actuator is stopped and reset, and no asset is played.
void missHaptics(Recorder& recorder) {
  action(recorder, "halden", "StartHalden");
  checkpoint(recorder, "ckp_HaldenStartHaptics");
  hapticContext(recorder);
  recorder.wait(48000, 52000);
  action(recorder, "halden", "HaldenCLTimeOut", 1);
  action(recorder, "halden", "StopHalden");
  for (const std::string_view step : {"ResetRequest", "ResetBegin", "ResetEnd", "ResetComplete"}) {
    action(recorder, "halden", step);
  }
}

void click(Recorder& recorder, Finger& finger, Haptics haptics) {
  constexpr unsigned stages = 6;
  Random& random = recorder.random();
  const std::uint32_t peak = random.between(3, 6) << 16;
  ++finger.pressCount;
  for (finger.stage = 1; finger.stage <= stages; ++finger.stage) {
    finger.force = peak / stages * finger.stage;
    inputPacket(recorder, finger);
  }
  finger.isDown = true;
  action(recorder, "zorb", "HandleButtonStateChanged", 1);
  checkpoint(recorder, "ckp_ZORBButtonDown");
  statusEvent(recorder, finger);
  if (haptics == Haptics::played) {
    playHaptics(recorder);
  } else if (haptics == Haptics::actuatorTimesOut) {
    missHaptics(recorder);
  }
  recorder.wait(40000, finger.isLong ? 900000 : 110000);
  for (finger.stage = stages; finger.stage > 0; finger.stage -= 2) {
    finger.force = peak / stages * finger.stage;
    inputPacket(recorder, finger);
  }
  finger.isDown = false;
  checkpoint(recorder, "ckp_ZORBButtonUp");
  statusEvent(recorder, finger);
  if (haptics == Haptics::played) {
    playHaptics(recorder);
  }
  action(recorder, "zorb", "HandleClickStatus", finger.pressCount);
}

void commandTimeout(Recorder& recorder) {
  Random& random = recorder.random();
  const std::uint32_t command = random.below(64);
  commandTimeout(recorder, command, random.between(1000, 50000));
}

// A handshake that had to be repeated.
void handshake(Recorder& recorder) {
  Random& random = recorder.random();
  recorder.add({"uart", "uart1", random.oneIn(2) ? "sw-handshake" : "hw-handshake", "event"})
      .number("arg1", random.below(256))
      .number("arg2", random.between(1, 5));
}

} // namespace

void press(Recorder& recorder, const Press& press) {
  interrupt(recorder);
  recorder.add({"zorb", "zorb", "trigger-fingeron", "trigger"}).number("thread-id", threadOfButton);
  action(recorder, "zorb", "Fingerdetect", 1);
  checkpoint(recorder, "ckp_ZORBFingerON");
  action(recorder, "zorb", "HandleFingerDownChanged", 1);
  wakeAmplifier(recorder, press.haptics != Haptics::amplifierTimesOut);
  recorder.wait(40000, 120000); // the finger rests before it presses
  Finger finger;
  for (unsigned i = 0; i < press.clicks; ++i) {
    finger.isLong = press.isLong && i + 1 == press.clicks;
    finger.isTerminal = i + 1 == press.clicks;
    click(recorder, finger, press.haptics);
    recorder.wait(60000, 140000);
  }
  action(recorder, "zorb", "HandleFingerDownChanged", 0);
  checkpoint(recorder, "ckp_ZORBFingerOFF");
  buttonContext(recorder, finger);
  action(recorder, "zorb", "DispatchReport", finger.pressCount);
  if (press.haptics != Haptics::amplifierTimesOut) {
    action(recorder, "halden", "StopHalden");
    action(recorder, "amp", "EnabledToDisabled");
  }
  action(recorder, "zorb", "AmpTurnOff");
  recorder.add({"corvane", "corvane", "data-out", "event"}).number("arg1", finger.force).number("arg6", press.clicks);
  recorder.wait(200, 900);
}

void retry(Recorder& recorder) {
  Random& random = recorder.random();
  const std::uint32_t choice = random.below(1000);
  if (choice < 6) {
    commandTimeout(recorder);
  } else if (choice < 8) {
    action(recorder, "halden", "HaldenCLTimeOut", 1);
  } else if (choice < 150) {
    action(recorder, "amp", "AmpClearInterrupts", random.below(16));
  } else {
    handshake(recorder);
  }
  recorder.wait(500000, 6000000);
}

void trouble(Recorder& recorder) {
  Random& random = recorder.random();
  const std::uint32_t choice = random.below(100);
  if (choice < 40) {
    commandTimeout(recorder);
  } else if (choice < 65) {
    handshake(recorder);
  } else if (choice < 90) {
    for (const std::string_view step : {"AmpClearInterrupts", "SoftReset", "DisabledToPreWarm"}) {
      action(recorder, "amp", step, random.below(16));
    }
  } else {
    action(recorder, "halden", random.oneIn(3) ? "HaldenCLFault" : "HaldenCLTimeOut", 1);
    action(recorder, "zorb", "EnableStuckFDTimer");
  }
  recorder.wait(20000, 4000000);
}

void amplifierTrouble(Recorder& recorder) {
  Random& random = recorder.random();
  const std::uint32_t choice = random.below(100);
  if (choice < 8) {
    amplifierTimeout(recorder);
  } else if (choice < 20) {
    action(recorder, "amp", "AmpClearInterrupts", random.below(16));
  } else {
    handshake(recorder);
  }
  recorder.wait(500000, 6000000);
}

} // namespace vel::synthetic
