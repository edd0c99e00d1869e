// The decoder as WebAssembly: the texts, names and fields of the records that the page holds. No name and no offset is
// repeated here; see report/wasm/page_interface.h.

interface Exports {
  memory: WebAssembly.Memory;
  vel_page_record_size(): number;
  vel_page_text_capacity(): number;
  vel_page_allocate(bytes: number): number;
  vel_page_times(flags: number, vel: bigint, calendar: bigint, boot: bigint): number;
  vel_page_kinds(records: number, count: number, kinds: number): void;
  vel_page_name(record: number, part: number, out: number, capacity: number): number;
  vel_page_timestamp(record: number): number;
  vel_page_search(
    records: number, chosen: number, count: number, times: number, needle: number, length: number,
  ): number;
  vel_page_read_fields(record: number): number;
  vel_page_field_layout(field: number): number;
  vel_page_field_key(field: number): number;
  vel_page_field_form(field: number): number;
  vel_page_field_number(field: number): bigint;
  vel_page_field_real(field: number): number;
  vel_page_field_bytes(field: number): number;
  vel_page_field_length(field: number): number;
  vel_profile_render(record: number, times: number, out: number, capacity: number): number;
}

/** The clock readings for the times at the end of each text, as in vel_profile_times. */
export interface Times {
  flags: number;
  vel: string;
  calendar: string;
  boot: string;
  /** From which record on local time is how many seconds east of Greenwich. */
  zones: [record: number, seconds: number][];
}

export interface Field {
  layout: string;
  key: string;
  value: string;
}

export const parts = ["category", "component", "event", "type"] as const;

const longestNeedle = 4096;

/** Bytes as text: each byte becomes the code point of the same number, so that no byte is lost. */
export function textOf(bytes: Uint8Array): string {
  let text = "";
  for (let at = 0; at < bytes.length; at += 4096) {
    text += String.fromCharCode(...bytes.subarray(at, at + 4096));
  }
  return text;
}

export class Decoder {
  readonly count: number;
  /** The kind of each record: records of the same kind have the same names. */
  readonly kinds: Uint32Array;
  private readonly recordSize: number;
  private readonly records: number;
  private readonly room: number;
  private readonly capacity: number;
  private readonly chosen: number;
  private readonly needle: number;
  private readonly literals = new Map<number, string>(); // names of layouts and keys, by their addresses

  private constructor(private readonly wasm: Exports, bytes: Uint8Array, private readonly times: Times) {
    this.recordSize = wasm.vel_page_record_size();
    this.count = Math.floor(bytes.length / this.recordSize);
    this.capacity = wasm.vel_page_text_capacity();
    this.records = this.allocate(bytes.length);
    this.room = this.allocate(this.capacity);
    this.chosen = this.allocate(this.count * Uint32Array.BYTES_PER_ELEMENT);
    this.needle = this.allocate(longestNeedle);
    new Uint8Array(wasm.memory.buffer).set(bytes, this.records);
    wasm.vel_page_kinds(this.records, this.count, this.chosen);
    this.kinds = new Uint32Array(wasm.memory.buffer, this.chosen, this.count).slice();
  }

  static async load(program: BufferSource, records: Uint8Array, times: Times): Promise<Decoder> {
    const { instance } = await WebAssembly.instantiate(program);
    return new Decoder(instance.exports as unknown as Exports, records, times);
  }

  /** The exact text, as velstat decode writes it. */
  text(index: number): string {
    const length = this.wasm.vel_profile_render(this.at(index), this.timesAt(index), this.room, this.capacity);
    return textOf(this.bytes(this.room, length));
  }

  bytesOf(index: number): Uint8Array {
    return this.bytes(this.at(index), this.recordSize);
  }

  /** The name of a record's category, component, event or type. */
  name(index: number, part: number): string {
    const length = this.wasm.vel_page_name(this.at(index), part, this.room, this.capacity);
    return textOf(this.bytes(this.room, length));
  }

  timestamp(index: number): number {
    return this.wasm.vel_page_timestamp(this.at(index));
  }

  fields(index: number): Field[] {
    const fields: Field[] = [];
    const count = this.wasm.vel_page_read_fields(this.at(index));
    for (let field = 0; field < count; ++field) {
      fields.push({
        layout: this.literal(this.wasm.vel_page_field_layout(field)),
        key: this.literal(this.wasm.vel_page_field_key(field)),
        value: this.fieldValue(field),
      });
    }
    return fields;
  }

  /** The records of `among`, which is in ascending order, whose text contains the words, ignoring case. */
  search(words: string, among: Uint32Array): Uint32Array {
    const needle = Uint8Array.from(words.slice(0, longestNeedle), (character) => character.charCodeAt(0));
    if (needle.length === 0) {
      return among;
    }
    if ([...words].some((character) => character.charCodeAt(0) > 0xff)) {
      return new Uint32Array(0);
    }
    new Uint8Array(this.wasm.memory.buffer).set(needle, this.needle);
    let kept = 0;
    const found = new Uint32Array(among.length);
    for (let begin = 0; begin < among.length; ) {
      const end = this.zoneEnd(among, begin);
      const part = among.subarray(begin, end);
      new Uint32Array(this.wasm.memory.buffer).set(part, this.chosen / Uint32Array.BYTES_PER_ELEMENT);
      const times = this.timesAt(among[begin] ?? 0);
      const count = this.wasm.vel_page_search(
        this.records, this.chosen, part.length, times, this.needle, needle.length);
      found.set(new Uint32Array(this.wasm.memory.buffer, this.chosen, count), kept);
      kept += count;
      begin = end;
    }
    return found.subarray(0, kept);
  }

  private allocate(bytes: number): number {
    const address = this.wasm.vel_page_allocate(Math.max(bytes, 1));
    if (address === 0) {
      throw new Error("out of memory");
    }
    return address;
  }

  private at(index: number): number {
    return this.records + index * this.recordSize;
  }

  private bytes(address: number, length: number): Uint8Array {
    return new Uint8Array(this.wasm.memory.buffer, address, length);
  }

  private literal(address: number): string {
    const known = this.literals.get(address);
    if (known !== undefined) {
      return known;
    }
    const memory = new Uint8Array(this.wasm.memory.buffer);
    const text = textOf(memory.subarray(address, memory.indexOf(0, address)));
    this.literals.set(address, text);
    return text;
  }

  private fieldValue(field: number): string {
    const bytes = () => this.bytes(this.wasm.vel_page_field_bytes(field), this.wasm.vel_page_field_length(field));
    switch (String.fromCharCode(this.wasm.vel_page_field_form(field))) {
      case "t":
        return textOf(bytes());
      case "b":
        return Array.from(bytes(), (byte) => byte.toString(16).padStart(2, "0")).join(" ");
      case "r":
        return String(this.wasm.vel_page_field_real(field));
      default:
        return BigInt.asUintN(64, this.wasm.vel_page_field_number(field)).toString();
    }
  }

  // The index of the time zone of a record's calendar time.
  private zoneOf(index: number): number {
    let zone = 0;
    while (zone + 1 < this.times.zones.length && (this.times.zones[zone + 1]?.[0] ?? 0) <= index) {
      ++zone;
    }
    return zone;
  }

  // The end of those records, from `begin` on, that are in the same zone as the first of them.
  private zoneEnd(among: Uint32Array, begin: number): number {
    const next = this.times.zones[this.zoneOf(among[begin] ?? 0) + 1]?.[0];
    if (next === undefined) {
      return among.length;
    }
    let end = begin;
    while (end < among.length && (among[end] ?? 0) < next) {
      ++end;
    }
    return end;
  }

  // The decoder writes UTC here, so the calendar is shifted by the zone's offset.
  private timesAt(index: number): number {
    const seconds = this.times.zones[this.zoneOf(index)]?.[1] ?? 0;
    const calendar = BigInt(this.times.calendar) + BigInt(seconds) * 1_000_000_000n;
    return this.wasm.vel_page_times(this.times.flags, BigInt(this.times.vel), calendar, BigInt(this.times.boot));
  }
}
