#!/usr/bin/env python3
"""Writes the hand-written seed programs of the API-sequence fuzzer into
corpus/api_sequence/. The op numbers follow the Op enum in ApiSequence.cpp;
see ApiSequence.h for the encoding. Run from anywhere; rewrites the seeds."""
import os

PLUGIN_OPS = """RegDraw UnregDraw RegSniffer UnregSniffer CreateLoop DestroyLoop ScheduleLoop
CreateWindow DestroyWindow TakeFocus BringToFront SetVisible RegHotKey UnregHotKey CreateMenu
DestroyMenu AppendItem RemoveItem RegHandler UnregHandler CommandBegin CommandEnd RegDataRef
UnregDataRef ReadDataRef WriteDataRef Share Unshare WriteShared AcquirePlanes ReleasePlanes
ControlCamera DontControlCamera CreateProbe DestroyProbe EnablePlugin DisablePlugin
ReloadPlugins SendMessage""".split()
HOST_OPS = """Event DrawStep MouseDown MouseDrag MouseUp KeyPress MenuPick CommandHook Unload Reload
CameraHook CursorWheel""".split()
OP = {name: i for i, name in enumerate(PLUGIN_OPS + HOST_OPS)}
REGISTERS = {"RegDraw", "RegSniffer", "CreateLoop", "CreateWindow", "RegHotKey", "CreateMenu",
             "RegHandler", "RegDataRef", "Share", "AcquirePlanes", "ControlCamera"}
EVENT = {0: 0, 10: 1, 9: 2, 1: 3, 2: 4, 3: 5, 8: 6}


def step(op, who=0, a=0, b=0, c=0, script=None):
    """One step; who 0..2 is plug-in 1..3 (bit 0x40: script is the message script)."""
    out = bytes([OP[op], who, a, b, c])
    if op in REGISTERS or who & 0x40:
        out += bytes([len(script or [])])
        for name, *args in script or []:
            out += bytes([OP[name]] + args + [0] * (3 - len(args)))
    return out


def event(code, dt=8):
    return step("Event", 0, EVENT[code], dt)


SEEDS = {
    # A loop destroying itself; one destroying another's (refused) and creating one.
    "loops_destroy_themselves": [
        step("CreateLoop", 0, 0, 0, 0, [("DestroyLoop", 0)]),
        step("CreateLoop", 1, 0, 0, 0, [("DestroyLoop", 1), ("CreateLoop", 0, 0)]),
        event(0), event(0), event(0), event(10),
    ],
    # Draw callbacks unregistering themselves, another's, and registering in the phase drawn.
    "draw_callbacks_reenter": [
        step("RegDraw", 0, 1, 0, 0, [("UnregDraw", 0)]),
        step("RegDraw", 1, 1, 0, 0, [("UnregDraw", 2), ("RegDraw", 1, 0)]),
        step("RegDraw", 2, 1, 0, 0, [("DisablePlugin", 0)]),
        step("DrawStep", 0, 19), step("DrawStep", 0, 19), step("DrawStep", 0, 19),
    ],
    # A window taking the focus; one that, told it loses it, dies and gives it to a third.
    "focus_moves_in_callbacks": [
        step("CreateWindow", 0, 0, 0, 1, [("DestroyWindow", 0), ("TakeFocus", 2)]),
        step("CreateWindow", 1, 0, 0, 1, [("TakeFocus", 0)]), step("CreateWindow", 2, 0, 0, 1),
        step("TakeFocus", 0, 0), step("TakeFocus", 1, 1), step("KeyPress", 0, 0, 0, 1),
        step("DisablePlugin", 1, 0), step("KeyPress", 0, 1, 0, 1),
    ],
    # A window destroyed by its own drag callback; a plug-in disabled mid-drag.
    "drag_and_disable": [
        step("CreateWindow", 0, 0, 0, 1, [("DestroyWindow", 0)]), step("CreateWindow", 1, 9, 0, 1),
        step("MouseDown", 0, 5, 5), step("MouseDrag", 0, 6, 6, 1), step("MouseUp", 0, 6, 6),
        step("MouseDown", 0, 15, 15), step("DisablePlugin", 0, 2), step("MouseDrag", 0, 7, 7),
        step("MouseUp", 0, 7, 7), step("EnablePlugin", 0, 2),
    ],
    # Key sniffers and hot keys that unregister themselves and each other.
    "keys_unregister": [
        step("RegSniffer", 0, 1, 0, 0, [("UnregSniffer", 0), ("RegHotKey", 0, 0)]),
        step("RegHotKey", 1, 0, 0, 0, [("UnregHotKey", 0), ("UnregSniffer", 1)]),
        step("RegHotKey", 2, 0, 0, 0, [("DisablePlugin", 0)]),
        step("KeyPress", 0, 0, 0, 0), step("KeyPress", 0, 0, 0, 0), step("KeyPress", 0, 0, 0, 2),
    ],
    # Menu handlers destroying their menu, changing another's menu, whose owner then unloads.
    "menus_change_in_handlers": [
        step("CreateMenu", 0, 0, 0, 0, [("DestroyMenu", 0)]),
        step("AppendItem", 0, 0), step("AppendItem", 0, 0),
        step("CreateMenu", 1, 0, 0, 0, [("RemoveItem", 0, 0), ("AppendItem", 0)]),
        step("AppendItem", 1, 1), step("AppendItem", 2, 1),
        step("MenuPick", 0, 1), step("MenuPick", 0, 2), step("MenuPick", 0, 4),
        step("MenuPick", 0, 5), step("Unload", 1), step("MenuPick", 0, 6),
    ],
    # Command handlers replacing themselves mid-dispatch; commands held across an unload.
    "command_handlers_reenter": [
        step("RegHandler", 0, 0, 1, 0, [("UnregHandler", 0), ("RegHandler", 0, 1)]),
        step("RegHandler", 1, 0, 0, 0, [("UnregHandler", 1), ("CommandBegin", 0)]),
        step("CommandHook", 0, 0, 1, 1), step("CommandHook", 0, 0, 1, 0),
        step("CommandBegin", 2, 1), event(9), step("Unload", 2), event(9),
    ],
    # Accessors used by others and withdrawn from inside; subscribers unsharing and writing.
    "data_reenters": [
        step("RegDataRef", 0, 0, 0, 0, [("UnregDataRef", 0)]),
        step("RegDataRef", 1, 0), step("RegDataRef", 1, 1, 0, 0, [("WriteDataRef", 0, 3)]),
        step("ReadDataRef", 2, 0), step("WriteDataRef", 2, 1, 5), step("ReadDataRef", 2, 0),
        step("Share", 0, 0, 0, 0, [("Unshare", 0), ("WriteShared", 0, 9)]),
        step("Share", 1, 0, 0, 0, [("Share", 0)]),
        step("WriteShared", 2, 0, 1), step("WriteShared", 2, 0, 2), step("Unload", 1),
    ],
    # The aircraft and the camera change hands inside their callbacks.
    "planes_and_camera": [
        step("AcquirePlanes", 0), step("AcquirePlanes", 1, 0, 0, 0, [("ReleasePlanes",)]),
        step("AcquirePlanes", 2, 0, 0, 0, [("DisablePlugin", 0)]), step("ReleasePlanes", 0),
        step("ControlCamera", 0, 0, 0, 1, [("ControlCamera", 1)]), step("CameraHook"),
        step("ControlCamera", 1, 0, 0, 1), step("DisablePlugin", 1, 0), step("CameraHook"),
        step("CreateProbe", 2), step("DestroyProbe", 0, 0), step("CreateProbe", 1),
    ],
    # A reload asked from a flight loop amid everyone's windows, menus and loops.
    "reload_from_a_callback": [
        step("CreateWindow", 0, 0, 0, 1), step("TakeFocus", 0, 0),
        step("CreateMenu", 1), step("RegHotKey", 2),
        step("CreateLoop", 2, 0, 0, 0, [("ReloadPlugins",)]),
        event(0), event(0), step("CreateLoop", 0), event(0), step("Reload"),
        step("CreateWindow", 1), step("DrawStep", 0, 19),
    ],
    # Message handlers that disable; a plug-in refusing to be enabled again.
    "messages_and_enable": [
        step("SendMessage", 0x40, 2, 0, 0, [("CreateWindow", 0), ("DisablePlugin", 0)]),
        step("Event", 0, EVENT[2]), step("DisablePlugin", 0x80 | 1, 0),
        step("EnablePlugin", 0, 2), step("Event", 0, EVENT[3]), step("Unload", 0),
        step("Event", 0, EVENT[8]), step("EnablePlugin", 2, 1),
    ],
    # Findings of the fuzzer, kept as regression programs.
    # The up event ending a drag, sent by the disable hook, retakes the focus.
    "finding_up_event_retakes_focus": [
        step("CreateWindow", 0, 0, 0, 1, [("UnregSniffer", 0)]),
        step("CreateWindow", 1, 0, 0, 1, [("TakeFocus", 0)]),
        step("MouseDown", 0, 0, 0), step("DisablePlugin", 1, 0), step("KeyPress", 0, 1, 0, 1),
    ],
    # A mouse callback that disables its own plug-in and takes the click.
    "finding_drag_kept_by_disabled_plugin": [
        step("CreateWindow", 1, 0, 0, 1, [("DisablePlugin", 0)]),
        step("MouseDown", 0, 1, 0), step("MouseDrag", 0, 5, 5), step("MouseUp", 0, 5, 5),
    ],
    # The window losing the focus disables the plug-in of the window taking it.
    "finding_focus_target_disabled_by_loser": [
        step("CreateWindow", 0, 0, 0, 1, [("DestroyWindow", 0), ("TakeFocus", 2)]),
        step("CreateWindow", 1, 0, 0, 1, [("TakeFocus", 0)]),
        step("SendMessage", 0x40 | 1, 2, 0, 0, [("CreateWindow", 0), ("DisablePlugin", 0)]),
        step("EnablePlugin", 2, 2), step("MouseDrag", 0, 0, 0, 1),
    ],
    # The aircraft handed on by a disable; the new owner focuses the old owner's window.
    "finding_aircraft_waiter_gives_focus": [
        step("AcquirePlanes", 0), step("CreateWindow", 0, 0, 0, 14),
        step("AcquirePlanes", 2, 0, 0, 0, [("TakeFocus", 1)]), step("DisablePlugin", 0, 0),
    ],
    # The waiter called during the owner's disable makes it acquire again: it keeps them.
    "finding_aircraft_taken_back_during_disable": [
        step("AcquirePlanes", 0x40, 0, 0, 0, [("AcquirePlanes",)]),
        step("AcquirePlanes", 2, 0, 0, 0, [("SendMessage", 1)]), step("DisablePlugin", 0, 0),
    ],
    # The camera callback, losing control to a disable, disables its plug-in again.
    "finding_disable_from_a_farewell_callback": [
        step("ControlCamera", 0x40, 2, 0, 0, [("CreateWindow", 0), ("DisablePlugin", 0)]),
        step("Event", 0, EVENT[8]), step("EnablePlugin", 2, 0),
    ],
    # A window callback enabling a plug-in again while a reload disables everyone.
    "finding_enabled_again_during_a_reload": [
        step("CreateWindow", 2, 0, 0, 1, [("EnablePlugin", 2)]), step("TakeFocus", 2, 0),
        step("Reload"), step("CreateWindow", 1),
    ],
}


if __name__ == "__main__":
    folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", "api_sequence")
    os.makedirs(folder, exist_ok=True)
    for name, steps in SEEDS.items():
        with open(os.path.join(folder, name), "wb") as out:
            out.write(b"".join(steps))
