// SPDX-License-Identifier: Apache-2.0
// The timeline: draws the rows that are in sight, of however many there are.
import {bodyOf, direction, isArrow} from './messages.js';
import {el, pretty, printable} from './text.js';

const ROW = 28;       // as in the style sheet
const BODY_LINE = 18; // of an unfolded message
const BODY_LINES = 20; // at most; then it scrolls
const BODY_MARGIN = 24;
const SPARE = 8; // rows drawn above and below those in sight

export class Timeline {
    /** `scroller` scrolls the `canvas`, which has the height of all rows. */
    constructor(scroller, canvas, changed) {
        this.scroller = scroller;
        this.canvas = canvas;
        this.changed = changed;
        this.filter = () => true;
        this.drawn = new Map(); // elements by place
        this.free = [];
        this.following = true;
        this.frame = 0;
        this.clear();
        scroller.addEventListener('scroll', () => this.#onScroll(), {passive: true});
        scroller.addEventListener('keydown', (event) => this.#onKey(event));
        new ResizeObserver(() => this.schedule()).observe(scroller);
    }

    clear() {
        this.all = [];
        this.shown = [];
        this.open = new Map(); // extra heights of unfolded messages, by number
        this.openAt = [];      // the same by place, in order
        this.current = -1;
        this.schedule();
    }

    add(messages) {
        for (const message of messages) {
            this.all.push(message);
            if (this.filter(message)) {
                this.shown.push(message);
            }
        }
        this.schedule();
    }

    setFilter(filter) {
        this.filter = filter;
        const kept = this.shown[this.current];
        this.shown = this.all.filter(filter);
        this.current = kept ? this.shown.indexOf(kept) : -1;
        this.#placeOpen();
        for (const place of [...this.drawn.keys()]) {
            this.#release(place);
        }
        this.schedule();
    }

    /** Scrolls to a message and unfolds it; false when it is not shown. */
    reveal(number) {
        const place = this.shown.findIndex((message) => message.number === number);
        if (place < 0) {
            return false;
        }
        this.following = false;
        if (!this.open.has(number)) {
            this.toggle(place);
        }
        this.current = place;
        this.scroller.scrollTop = Math.max(0, this.#top(place) - this.scroller.clientHeight / 3);
        this.draw();
        this.#focus();
        return true;
    }

    follow() {
        this.following = true;
        this.schedule();
    }

    toggle(place) {
        const message = this.shown[place];
        if (!this.open.delete(message.number)) {
            const lines = pretty(bodyOf(message)).split('\n').length;
            this.open.set(message.number, Math.min(lines, BODY_LINES) * BODY_LINE + BODY_MARGIN);
            this.following = false;
        }
        this.#placeOpen();
        for (const drawn of [...this.drawn.keys()]) {
            this.#release(drawn);
        }
        this.draw();
    }

    schedule() {
        this.frame ||= requestAnimationFrame(() => this.draw());
    }

    draw() {
        cancelAnimationFrame(this.frame);
        this.frame = 0;
        this.canvas.style.height = this.#top(this.shown.length) + 'px';
        if (this.following) {
            this.scroller.scrollTop = this.scroller.scrollHeight;
        }
        const first = Math.max(0, this.#placeAt(this.scroller.scrollTop) - SPARE);
        const last = Math.min(this.shown.length, this.#placeAt(this.scroller.scrollTop + this.scroller.clientHeight) + SPARE);
        for (const place of [...this.drawn.keys()].sort((left, right) => left - right)) {
            if (place < first || place >= last) {
                this.#release(place);
            }
        }
        let next = this.canvas.firstChild; // rows stand in their order, also for those who hear them
        for (let place = first; place < last; ++place) {
            const row = this.drawn.get(place) ?? this.#drawRow(place);
            if (row === next) {
                next = next.nextSibling;
            } else {
                this.canvas.insertBefore(row, next);
            }
        }
        this.free.forEach((row) => row.remove());
        this.changed();
    }

    // ---- Places and heights. ----

    #placeOpen() {
        this.openAt = [];
        if (this.open.size > 0) {
            this.shown.forEach((message, place) => {
                if (this.open.has(message.number)) {
                    this.openAt.push([place, this.open.get(message.number)]);
                }
            });
        }
    }

    #top(place) {
        let top = place * ROW;
        for (const [open, height] of this.openAt) {
            top += open < place ? height : 0;
        }
        return top;
    }

    #placeAt(y) {
        let rest = y;
        for (const [open, height] of this.openAt) {
            const below = this.#top(open) + ROW;
            if (y > below) {
                rest -= Math.min(height, y - below);
            }
        }
        return Math.min(this.shown.length, Math.floor(rest / ROW));
    }

    // ---- Rows. ----

    #makeRow() {
        const parts = {
            number: el('a', {class: 'number', tabindex: '-1'}),
            time: el('span', {class: 'time'}),
            lanes: el('span', {class: 'lanes', 'aria-hidden': 'true'}, el('i')),
            name: el('span', {class: 'name'}),
            fields: el('span', {class: 'fields'}),
        };
        const button = el('button', {type: 'button', class: 'line', tabindex: '-1'},
            parts.time, parts.lanes, parts.name, parts.fields);
        const row = el('div', {class: 'row', role: 'listitem'}, parts.number, button);
        button.addEventListener('click', () => {
            this.current = row.place;
            this.toggle(row.place);
            this.#focus();
        });
        return Object.assign(row, {parts, button});
    }

    #drawRow(place) {
        const message = this.shown[place];
        const row = this.free.shift() ?? this.#makeRow();
        const {parts, button} = row;
        row.place = place;
        row.className = `row ${message.heading ? 'heading' : `k-${message.kind}`} ${message.tone ?? ''}`;
        row.classList.toggle('own', message.own === true);
        row.setAttribute('aria-setsize', this.shown.length);
        row.setAttribute('aria-posinset', place + 1);
        row.style.transform = `translateY(${this.#top(place)}px)`;
        parts.number.textContent = message.number ? '#' + message.number : '';
        parts.number.href = '#' + message.number;
        parts.time.textContent = message.time ?? '';
        parts.lanes.firstChild.className = message.heading ? 'none'
            : isArrow(message) ? `arrow ${message.from < 0 ? 'stub' : message.from < message.to ? 'right' : 'left'} f${Math.max(message.from, 0)} t${message.to}`
                : `dot t${message.to}`;
        parts.name.textContent = message.name;
        parts.fields.textContent = message.fields;
        button.setAttribute('aria-label', printable(`${message.number ? '#' + message.number : ''} ${direction(message)} ${message.name} ${message.fields}`.trim()));
        const open = this.open.get(message.number);
        button.setAttribute('aria-expanded', String(open !== undefined));
        if (open !== undefined) {
            const body = el('pre', {tabindex: '0', 'aria-label': 'Message ' + message.number});
            body.textContent = pretty(bodyOf(message));
            row.append(body);
        }
        this.drawn.set(place, row);
        return row;
    }

    #release(place) {
        const row = this.drawn.get(place);
        this.drawn.delete(place);
        row.querySelector('pre')?.remove();
        this.free.push(row);
    }

    // ---- Scrolling and keys. ----

    #onScroll() {
        const {scrollTop, scrollHeight, clientHeight} = this.scroller;
        this.following = scrollHeight - scrollTop - clientHeight < ROW;
        this.draw();
    }

    #onKey(event) {
        if (event.target.tagName === 'PRE') {
            return;
        }
        const page = Math.max(1, Math.floor(this.scroller.clientHeight / ROW) - 2);
        const last = this.shown.length - 1;
        const from = this.current < 0 ? this.#placeAt(this.scroller.scrollTop) - 1 : this.current;
        const to = {ArrowDown: from + 1, ArrowUp: from - 1, PageDown: from + page, PageUp: from - page, Home: 0, End: last}[event.key];
        if (to === undefined || last < 0) {
            return;
        }
        event.preventDefault();
        this.current = Math.min(last, Math.max(0, to));
        const top = this.#top(this.current);
        if (top < this.scroller.scrollTop) {
            this.scroller.scrollTop = top;
        } else if (top + ROW > this.scroller.scrollTop + this.scroller.clientHeight) {
            this.scroller.scrollTop = top + ROW - this.scroller.clientHeight;
        }
        this.following = false;
        this.draw();
        this.#focus();
    }

    #focus() {
        this.drawn.get(this.current)?.button.focus({preventScroll: true});
    }
}
