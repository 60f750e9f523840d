// The top edge at the centre of a monitor, done the way the shell's hot corner is: a pressure
// barrier that answers a push and leaves clicks alone. A pointer that cannot push (an absolute
// one: a virtual machine's, a tablet's) opens it by resting on the edge instead; a click there
// is the top bar's and stops that until the pointer leaves the edge.
import Clutter from 'gi://Clutter';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';

import * as Config from 'resource:///org/gnome/shell/misc/config.js';
import * as Layout from 'resource:///org/gnome/shell/ui/layout.js';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';

// Pixels of push within the timeout. Less than the hot corner's 100: the shelf comes at once.
const PRESSURE_THRESHOLD = 50;
const PRESSURE_TIMEOUT = 1000; // ms
const REST_TIME = 400; // ms

// Barriers belong to the backend from GNOME 46 on, to the display before.
function barrierHost() {
    const major = parseInt(Config.PACKAGE_VERSION.split('.')[0]);
    return major >= 46 ? {backend: global.backend} : {display: global.display};
}

export class TopEdge {
    constructor(onPushed) {
        this._onPushed = onPushed;
        this._barrier = null;
        this._span = null;
        this._restId = 0;
        this._clicked = false;
        this._pressure = null;
        // Only the top bar lies under the edge: its events are all the resting pointer needs.
        this._panelEvents = Main.layoutManager.panelBox.connect('captured-event',
            (_actor, event) => this._panelEvent(event));
    }

    /** From `left` to `right` along the top of `top` (stage coordinates); null: nowhere. */
    set(left, right, top) {
        this._removeBarrier();
        this._stopRest();
        this._span = left < right ? {left, right, top} : null;
        if (this._span === null)
            return;
        // A pressure barrier of its own each time: one that lost its barrier while pushed
        // would wait for a departure that never comes.
        this._pressure = new Layout.PressureBarrier(PRESSURE_THRESHOLD, PRESSURE_TIMEOUT,
            Shell.ActionMode.NORMAL);
        this._pressure.connect('trigger', () => this._onPushed());
        this._barrier = new Meta.Barrier({
            ...barrierHost(),
            x1: left, x2: right, y1: top, y2: top,
            directions: Meta.BarrierDirection.POSITIVE_Y,
        });
        this._pressure.addBarrier(this._barrier);
    }

    destroy() {
        this.set(0, 0, 0);
        Main.layoutManager.panelBox.disconnect(this._panelEvents);
    }

    _removeBarrier() {
        if (this._barrier === null)
            return;
        this._pressure.destroy();
        this._pressure = null;
        this._barrier.destroy();
        this._barrier = null;
    }

    _panelEvent(event) {
        if (this._span === null)
            return Clutter.EVENT_PROPAGATE;
        switch (event.type()) {
        case Clutter.EventType.BUTTON_PRESS:
        case Clutter.EventType.TOUCH_BEGIN:
            this._clicked = true;
            this._stopRest();
            break;
        case Clutter.EventType.MOTION: {
            const [x, y] = event.get_coords();
            if (!this._onEdge(x, y)) {
                this._clicked = false;
                this._stopRest();
            } else if (!this._clicked && this._restId === 0) {
                this._restId = GLib.timeout_add(GLib.PRIORITY_DEFAULT, REST_TIME, () => {
                    this._restId = 0;
                    // It may have jumped off the bar since, where the bar hears nothing.
                    const [px, py] = global.get_pointer();
                    if (this._onEdge(px, py) && (Main.actionMode & Shell.ActionMode.NORMAL))
                        this._onPushed();
                    return GLib.SOURCE_REMOVE;
                });
            }
            break;
        }
        default:
            break;
        }
        return Clutter.EVENT_PROPAGATE;
    }

    _onEdge(x, y) {
        return this._span !== null && y < this._span.top + 1 && x >= this._span.left &&
            x < this._span.right;
    }

    _stopRest() {
        if (this._restId)
            GLib.source_remove(this._restId);
        this._restId = 0;
    }
}
