// What the device says of itself is in English, whatever language the page speaks.
import { labelOf } from '../model/schema.js';
import { pieces } from '../model/texts.js';

export const Told = ({ children }) => (children ? <span lang="en">{children}</span> : null);

/** What a class or a property is called. */
export const Label = ({ of }) => <Told>{labelOf(of)}</Told>;

/** A text of the page with words of the device in it. */
export const Sentence = ({ of, values }) => <>{pieces(of, values).map(({ text, isValue }) => (isValue ? <Told>{text}</Told> : text))}</>;
