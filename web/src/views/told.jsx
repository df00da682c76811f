// What the device says of itself is in English, whatever language the page speaks.
import { labelOf } from '../model/schema.js';

export const Told = ({ children }) => (children ? <span lang="en">{children}</span> : null);

/** What a class or a property is called. */
export const Label = ({ of }) => <Told>{labelOf(of)}</Told>;
